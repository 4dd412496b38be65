#include "lib/frag/xml_layout.h"

#include <random>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "lib/frag/export.h"
#include "lib/frag/symbol.h"
#include "tests/frag/flat_tree.h"
#include "tests/frag/temp_file.h"

static int shape(frag **head)
{
    shape_for_xml(head);
    return 0;
}

TEST(XmlLayout, Shape)
{
    static const pass_case cases[] = {
        {"no proxies", shape, "proxy_old=1\na=1\n", "proxy\na=1\n"},
        {"lists of networks, but for groups", shape,
         "net_ipnet_a_x=1\nnet_ipnet_b_x=2\nnet_flat=3\nnet_group_g_x=4\nnetx_v_c_x=5\n",
         "proxy\n"
         "net_ipnet_attrs_name=a\nnet_ipnet_x=1\nnet_ipnet_attrs_name=b\nnet_ipnet_x=2\n"
         "net_flat=3\nnet_group_attrs_gname=g\nnet_group_x=4\n"
         "netx_v_attrs_name=c\nnetx_v_x=5\n"},
        {"a list owner without children", shape, "net=1\nother_a_x=1\n",
         "proxy\nnet=1\nother_a_x=1\n"},
        {"each list of the table", shape,
         "destination_destobj_2_x=1\ndestination_destobj_1_x=2\n"
         "rule_proxy_2_x=1\nrule_pffwd_1_x=1\nrule_pflcl_1_x=1\n"
         "auth_obj_a_x=1\nlpf-serv_a_x=1\nfpf-serv_a_x=1\n",
         "proxy\n"
         "destination_destobj_attrs_seq=1\ndestination_destobj_x=2\n"
         "destination_destobj_attrs_seq=2\ndestination_destobj_x=1\n"
         "rule_proxyrule_attrs_seq=2\nrule_proxyrule_x=1\n"
         "rule_fwdrule_attrs_seq=1\nrule_fwdrule_x=1\n"
         "rule_lclrule_attrs_seq=1\nrule_lclrule_x=1\n"
         "auth_obj_attrs_name=a\nauth_obj_x=1\n"
         "lpf-serv_attrs_name=a\nlpf-serv_x=1\nfpf-serv_attrs_name=a\nfpf-serv_x=1\n"},
        {"interface lists and their entries", shape,
         "netobj_list_In_element_10_x=b\nnetobj_list_In_element_9_x=a\nnetobj_list_Out_y=1\n",
         "proxy\n"
         "netobj_iflist_attrs_name=In\n"
         "netobj_iflist_element_attrs_item=9\nnetobj_iflist_element_x=a\n"
         "netobj_iflist_element_attrs_item=10\nnetobj_iflist_element_x=b\n"
         "netobj_iflist_attrs_name=Out\nnetobj_iflist_y=1\n"},
        {"proxies by type, the last in front", shape,
         "def_proxy_a=lost\ndef_proxy_a_x=1\n"
         "def_proxy_deny-b%5Fc_proxy-type=a_b\ndef_proxy_deny-b%5Fc_config-sets_s%5Ft=1\n",
         "proxy_a_b_attrs_name=deny-b_c\n"
         "proxy_a_b_config-sets_config-set=1\n"
         "proxy_a_b_config-sets_config-set_attrs_name=s_t\n"
         "proxy_unknown_attrs_name=a\nproxy_unknown_x=1\ndef\n"},
    };
    expect_passes(cases);
}

TEST(XmlLayout, NamesFromAttributes)
{
    static const char *const before = "l_1_attrs_name=a_b\nl_1_attrs_gname=g\n"
                                      "l_1_attrs_item=i\nl_1_attrs_seq=s\nl_2_attrs_x=1\nl_3=\n";
    static const struct {
        int (*rename)(frag *first);
        const char *after;
    } cases[] = {
        {xml_rename_list, "l_a%5Fb\nl_2\nl_3=\n"},
        {xml_regname_list, "l_g\nl_2\nl_3=\n"},
        {xml_renumber_list, "l_i\nl_2\nl_3=\n"},
        {xml_resequence_list, "l_s\nl_2\nl_3=\n"},
    };
    for (const auto &row : cases) {
        flat_tree tree(before);
        row.rename(ffind(&tree.head, "l")->child);
        EXPECT_EQ(tree.listing(), row.after);
        expect_sound(&tree.head);
    }
}

TEST(XmlLayout, TreesThatCanonXmlLeavesAlone)
{
    static const pass_case cases[] = {
        {"empty", canon_xml, "", ""},
        {"not from such a file", canon_xml, "a=1\nproxy_b=1\n", "a=1\nproxy_b=1\n"},
        {"a document without proxies loses its root only", canon_xml,
         "<?xml version=\"1.0\"?>\n<varnholt_conf><rule><fwdrule seq=\"1\"/></rule>"
         "</varnholt_conf>",
         "rule_fwdrule_attrs_seq=1\n"},
        {"a document without anything", canon_xml, "<?xml version=\"1.0\"?>\n", ""},
        {"another root", canon_xml, "<?xml version=\"1.0\"?>\n<a><b>1</b></a>\n", "a_b=1\n"},
    };
    expect_passes(cases);
}

// The file that exportenv writes; the tree stays as it is.
static std::string saved(flat_tree &tree, int version)
{
    const temp_file file;
    cur_database = &tree.head;
    EXPECT_EQ(exportenv(file.path(), version), 0);
    cur_database = nullptr;
    return file.text();
}

// The lines of a flat file, sorted, without the version's.
static std::string flat_lines(flat_tree &tree)
{
    freefrag(fdel(&tree.head, "version"));
    const temp_file file;
    EXPECT_EQ(exportffile(file.path(), &tree.head, EXPORT_FLAT), 0);
    return sorted_lines(file.text());
}

static std::string random_text(unsigned seed)
{
    static constexpr const char *LISTS[] = {
        "net_ipnet_",
        "net_ipaddr_",
        "netx_vpn_",
        "destination_destobj_",
        "rule_proxy_",
        "rule_pffwd_",
        "rule_pflcl_",
        "auth_obj_",
        "lpf-serv_",
        "fpf-serv_",
        "net_group_",
        "other_group_",
        "def_proxy_",
        "netobj_list_In_element_",
        "netobj_list_all%5Finterfaces_element_",
        "def_proxy_p%5Fq_config-sets_",
        "net_group_a%5Fb_elem_",
        "plain_",
    };
    static constexpr const char *FIELDS[] = {"addr", "permit-relay", "deny-x", "a%5Fb_c",
                                             "list_1_z"};
    static constexpr const char *VALUES[] = {"on", "two words", "a=b", "10.0.0.1/8"};
    std::mt19937 random(seed);
    const auto pick = [&random](auto &table) { return table[random() % std::size(table)]; };
    std::ostringstream text;
    for (const char *list : LISTS)
        for (auto entries = random() % 4; entries > 0; --entries)
            for (auto fields = random() % 3 + 1; fields > 0; --fields)
                text << list << (entries % 2 == 0 ? "" : "n%5F") << entries << "_" << pick(FIELDS)
                     << "=" << pick(VALUES) << "\n";
    text << "def_proxy_typed_proxy-type=web\ndef_proxy_typed_x=1\n";
    text << "own=value\nown_child=1\nempty=\n";
    return text.str();
}

TEST(XmlLayout, OutAndInIsTheSameFlatFile)
{
    for (unsigned seed = 0; seed < 200; ++seed) {
        SCOPED_TRACE(seed);
        flat_tree tree(random_text(seed));
        const std::string xml = saved(tree, EXPORT_XML);
        EXPECT_EQ(saved(tree, EXPORT_XML), xml);
        flat_tree again(xml);
        canon_xml(&again.head);
        expect_sound(&again.head);
        ASSERT_EQ(flat_lines(again), flat_lines(tree)) << xml;
    }
}
