#include "lib/frag/xml_write.h"

#include <string>

#include <gtest/gtest.h>

#include "lib/frag/export.h"
#include "tests/frag/flat_tree.h"
#include "tests/frag/temp_file.h"

static std::string written(frag *first, int depth)
{
    const temp_file file;
    std::FILE *stream = std::fopen(file.path(), "w");
    EXPECT_EQ(outxmlfile(stream, first, depth), 0);
    std::fclose(stream);
    return file.text();
}

TEST(XmlWrite, Elements)
{
    static const struct {
        const char *label, *tree, *wanted;
    } cases[] = {
        {"neither value nor children", "a_attrs_b=c\n", "  <a b=\"c\"/>\n"},
        {"a value", "a=v \n", "  <a>v</a>\n"},
        {"an empty value", "a=\n", "  <a></a>\n"},
        {"children", "a_b=1\na_c_d=2\n",
         "  <a>\n   <b>1</b>\n   <c>\n    <d>2</d>\n   </c>\n  </a>\n"},
        {"a value and children", "a=v\na_b=\n", "  <a>v\n   <b></b>\n  </a>\n"},
        {"decoded names with prefixes", "deny-a%5Fb=1\n", "  <deny-a_b>1</deny-a_b>\n"},
        {"attributes in order, wherever they stand", "a_x=1\na_attrs_p%5Fq=2\na_attrs_r=\n",
         "  <a p_q=\"2\" r=\"\">\n   <x>1</x>\n  </a>\n"},
        {"nothing is escaped", "a=<&\"\na_attrs_b=<&>\n", "  <a b=\"<&>\"><&\"</a>\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        flat_tree tree(row.tree);
        EXPECT_EQ(written(tree.head, 2), row.wanted);
        expect_sound(&tree.head);
    }
}

TEST(XmlWrite, AttributesComeBackInFront)
{
    flat_tree tree("a_x=1\na_attrs_b=2\na_y=3\n");
    written(tree.head, 0);
    EXPECT_EQ(tree.listing(), "a_attrs_b=2\na_x=1\na_y=3\n");
}

TEST(XmlWrite, AnAttributeWithoutAValueIsEmpty)
{
    flat_tree tree("a_attrs_b_c=1\n");
    EXPECT_EQ(written(tree.head, 0), "<a b=\"\"/>\n");
}

TEST(XmlWrite, IndentationEndsAtItsLimit)
{
    flat_tree tree("a_b=1\n");
    for (const int depth : {0, 39, 40, 41, 42, 1000}) {
        SCOPED_TRACE(depth);
        const std::string outer(static_cast<std::size_t>(std::min(depth, 41)), ' ');
        const std::string inner(static_cast<std::size_t>(std::min(depth + 1, 41)), ' ');
        EXPECT_EQ(written(tree.head, depth),
                  outer + "<a>\n" + inner + "<b>1</b>\n" + outer + "</a>\n");
    }
}

TEST(XmlWrite, Document)
{
    flat_tree tree("rule_pffwd_10_src=b\nrule_pffwd_9_src=a\n"
                   "def_proxy_p%5Fq_timeout=5\ndef_proxy_p%5Fq_proxy-type=web\n"
                   "def_proxy_p%5Fq_config-sets_s_port=80\n"
                   "netobj_list_In_element_1_addr=1.1.1.1\n");
    const temp_file file;
    EXPECT_EQ(exportffile(file.path(), &tree.head, EXPORT_XML), 0);
    EXPECT_EQ(file.text(), "<?xml version=\"1.0\"?>\n"
                           "<varnholt.conf>\n"
                           "  <proxy>\n"
                           "   <web name=\"p_q\">\n"
                           "    <timeout>5</timeout>\n"
                           "    <config-sets>\n"
                           "     <config-set name=\"s\">\n"
                           "      <port>80</port>\n"
                           "     </config-set>\n"
                           "    </config-sets>\n"
                           "   </web>\n"
                           "  </proxy>\n"
                           "  <rule>\n"
                           "   <fwdrule seq=\"9\">\n"
                           "    <src>a</src>\n"
                           "   </fwdrule>\n"
                           "   <fwdrule seq=\"10\">\n"
                           "    <src>b</src>\n"
                           "   </fwdrule>\n"
                           "  </rule>\n"
                           "  <def/>\n"
                           "  <netobj>\n"
                           "   <iflist name=\"In\">\n"
                           "    <element item=\"1\">\n"
                           "     <addr>1.1.1.1</addr>\n"
                           "    </element>\n"
                           "   </iflist>\n"
                           "  </netobj>\n"
                           "</varnholt.conf>\n");
    EXPECT_EQ(exportffile("/dev/full", &tree.head, EXPORT_XML), 1);
}
