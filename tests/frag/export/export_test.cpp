#include "lib/frag/export/export.h"

#include "lib/frag/export/xml_layout.h"
#include "lib/frag/export/xml_write.h"
#include "lib/frag/layout/norm_list.h"
#include "tests/frag/tree_text.h"
#include "tests/fuzz/memory_file.h"
#include "tests/fuzz/path_file.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

static std::string written(const std::function<int(std::FILE *stream)> &write)
{
    memory_file file;
    EXPECT_EQ(write(file.stream), 0);
    std::fclose(file.stream);
    return {file.bytes, file.size};
}

static std::string flat(frag *first, int position = 0)
{
    return written([&](std::FILE *stream) { return outffile(stream, first, 0, position); });
}

TEST(Export, FlatLines)
{
    built_tree tree("a=2{b=1 c} d='1  '/1 e(5)=1 f(3)=2 x_relay-permit=1 a%5Fb_c%25= n='x~y'");
    std::strchr(ffind(&tree.head, "n")->value, '~')[0] = '\0';
    EXPECT_EQ(flat(tree.head),
              std::string("a=2\na_b=1\nd=1\npermit-e=1\ndeny-f=2\nx_permit-relay=1\n"
                          "a%5Fb_c%25=\nn=x") +
                  '\0' + "y\n");
    EXPECT_STREQ(fval(&tree.head, "d"), "1"); // cut where it was counted
    built_tree part("a_b{c=1 d=2}");
    EXPECT_EQ(flat(ffind(&part.head, "a_b_c"), 4), "a_b_c=1\na_b_d=2\n");
}

TEST(Export, ChildrenBelowLongKeysAreLeftOut)
{
    for (const std::size_t length : {178U, 179U, 180U, 100000U}) {
        const std::string name(length, 'n');
        built_tree tree(name + "=1{child=2}");
        EXPECT_EQ(flat(tree.head), name + "=1\n" + (length < 180 ? name + "_child=2\n" : ""))
            << length;
    }
}

TEST(Export, FailuresAreReported)
{
    built_tree tree("a=1");
    EXPECT_EQ(exportffile("/no/such/folder/file", &tree.head, EXPORT_FLAT), 1);
    // Small enough for the stream's buffer: only the close can tell.
    EXPECT_EQ(exportffile("/dev/full", &tree.head, EXPORT_FLAT), 1);
    EXPECT_EQ(exportffile("/dev/full", &tree.head, EXPORT_XML), 1);
    fset(&tree.head, "b", std::string(100000, 'x').c_str());
    EXPECT_EQ(exportffile("/dev/full", &tree.head, EXPORT_FLAT), 1);
}

TEST(Export, StandardOutputIsClosedAndWorksOnce)
{
    built_tree tree("a=1");
    path_file file;
    EXPECT_EXIT(
        {
            const bool is_open = std::freopen(file.path().c_str(), "w", stdout) != nullptr;
            const int first = exportffile(nullptr, &tree.head, EXPORT_FLAT);
            const int second = exportffile(nullptr, &tree.head, EXPORT_FLAT);
            _exit(is_open && first == 0 && second == 1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(file.text(), "a=1\n");
}

TEST(ExportEnv, TheVersionIsStampedIntoACopy)
{
    static const struct {
        int version;
        const char *tree, *want;
    } cases[] = {
        {0, "", "version_varnholt.conf=000\n"},
        {1, "a=1", "version_varnholt.conf=000\na=1\n"},
        {41, "a=1", "version_varnholt.conf=000\na=1\n"},
        {42, "version_x=1", "version_varnholt.conf=042\nversion_x=1\n"},
        {1234, "a=1 version_varnholt.conf=000", "a=1\nversion_varnholt.conf=1234\n"},
        {0, "temp_x=1 def_proxy{*_x=1 a=1}", "version_varnholt.conf=000\ndef_proxy_a=1\n"},
    };
    for (const auto &row : cases) {
        built_tree tree(row.tree);
        EXPECT_EQ(exported(&tree.head, row.version), row.want);
        EXPECT_EQ(tree_text(tree.head), row.tree);
    }
}

TEST(XmlWrite, Elements)
{
    static const struct {
        const char *tree, *want;
    } cases[] = {
        {"a_attrs_b=c", "  <a b=\"c\"/>\n"},
        {"a_attrs_b_c=1", "  <a b=\"\"/>\n"},
        {"a='v '/1", "  <a>v</a>\n"},
        {"a=", "  <a></a>\n"},
        {"a{b=1 c_d=2}", "  <a>\n   <b>1</b>\n   <c>\n    <d>2</d>\n   </c>\n  </a>\n"},
        {"a=v{b=}", "  <a>v\n   <b></b>\n  </a>\n"},
        {"a%5Fb(2)=1", "  <deny-a_b>1</deny-a_b>\n"},
        {"a{attrs{p%5Fq=2 r=} x=1}", "  <a p_q=\"2\" r=\"\">\n   <x>1</x>\n  </a>\n"},
        {"a=<&\"{attrs_b=<&>}", "  <a b=\"<&>\"><&\"</a>\n"},
    };
    for (const auto &row : cases) {
        built_tree tree(row.tree);
        EXPECT_EQ(written([&](std::FILE *out) { return outxmlfile(out, tree.head, 2); }), row.want);
        expect_sound(&tree.head);
    }
}

TEST(XmlWrite, IndentationEndsAtItsLimit)
{
    built_tree tree("a{x=1 attrs_b=2}");
    for (const auto &[depth, outer, inner] :
         {std::tuple(0, 0U, 1U), {40, 40U, 41U}, {41, 41U, 41U}, {1000, 41U, 41U}}) {
        const std::string before(outer, ' ');
        EXPECT_EQ(written([&, depth = depth](std::FILE *out) {
                      return outxmlfile(out, tree.head, depth);
                  }),
                  before + "<a b=\"2\">\n" + std::string(inner, ' ') + "<x>1</x>\n" + before +
                      "</a>\n");
    }
    EXPECT_EQ(tree_text(tree.head), "a{attrs_b=2 x=1}"); // attributes come back in front
}

TEST(XmlLayout, OutAndInIsTheSameFlatFile)
{
    std::string text =
        "def_proxy_typed_proxy-type=web\ndef_proxy_typed_x=1\nown=v\nown_c=1\nempty=\n";
    for (const std::string list :
         {"net_ipnet", "net_ipaddr", "netx_vpn", "destination_destobj", "rule_proxy", "rule_pffwd",
          "rule_pflcl", "auth_obj", "lpf-serv", "fpf-serv", "net_group", "other_group", "def_proxy",
          "netobj_list_In_element", "netobj_list_all%5Finterfaces_element",
          "def_proxy_p%5Fq_config-sets", "net_group_a%5Fb_elem", "plain"})
        text += list + "_n%5F1_addr=10.0.0.1/8\n" + list + "_2_permit-relay=on\n" + list +
                "_2_deny-x=two words\n" + list + "_10_a%5Fb_c=a=1\n";
    owned_tree tree(text);
    const std::string document = exported(&tree.head, EXPORT_XML);
    EXPECT_TRUE(document.starts_with("<?xml version=\"1.0\"?>\n<varnholt.conf>\n  <"));
    EXPECT_TRUE(document.ends_with("</plain>\n</varnholt.conf>\n")) << document;
    owned_tree again(document);
    canon_xml(&again.head);
    expect_sound(&again.head);
    freefrag(fdel(&again.head, "version"));
    EXPECT_EQ(lines_of(flat(again.head)), lines_of(flat(tree.head)));
}
