// Trees that are wide, deep or tied in knots: every pass ends, and leaves a sound tree. The wide
// ones are those in which a walk of the list for each entry would be a square.
#include <functional>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "lib/frag/canon.h"
#include "lib/frag/export.h"
#include "lib/frag/merge.h"
#include "lib/frag/norm41.h"
#include "lib/frag/symbol.h"
#include "lib/frag/upgrade.h"
#include "lib/frag/xml_layout.h"
#include "tests/frag/flat_tree.h"
#include "tests/frag/temp_file.h"

static constexpr int MANY = 20000;

static std::string repeated(const std::function<std::string(const std::string &)> &lines)
{
    std::string text;
    for (int number = 1; number <= MANY; ++number)
        text += lines(std::to_string(number));
    return text;
}

static int upgrade(frag **head)
{
    norm_fragtree(head);
    return up41(head);
}

static int export_all(frag **head)
{
    const temp_file file;
    int result = 0;
    cur_database = head;
    for (const int version : {EXPORT_FLAT, EXPORT_NUMBERED, EXPORT_XML})
        result |= exportenv(file.path(), version);
    cur_database = nullptr;
    return result;
}

TEST(LargeTree, WideLists)
{
    const std::string counters = "def_num_proxies=1\ncust_num_proxies=1\n";
    const std::string texts[] = {
        counters + repeated([](const std::string &n) {
            return "cust_proxy_" + n + "_realname=p" + n + "\ncust_proxy_" + n + "_name=s" + n +
                   "\npolicy_1_proxy_" + n + "_name=s" + n + "\n";
        }),
        counters + repeated([](const std::string &n) {
            return "def_proxy_1_parm_" + n + "_name=p" + n + (n.size() % 2 == 0 ? "_x" : "") +
                   "\ndef_proxy_1_parm_" + n + "_value=1\n";
        }),
        repeated([](const std::string &n) {
            return "netobj_list_Inside_element_" + n + "_interface=eth" + n + "\nnetobj_list_eth" +
                   n + "_INTERFACE_element_1_addr=1.1.1.1\n";
        }),
        repeated([](const std::string &n) {
            return "netobj_list_Inside_element_" + n +
                   "_interface=eth0\nnetobj_list_Inside_element_" + n +
                   "_alias=" + (n.size() % 2 == 0 ? "yes" : "no") + "\n";
        }),
        repeated([](const std::string &n) { return "pfedit_lcl_rule" + n + "=deny+++++\n"; }),
        "def_proxy=\nproxy=\n" + repeated([](const std::string &n) {
            return "proxy_s" + n + "=on\ndef_proxy_plug-relay_config-sets_c" + n + "_port=1\n";
        }),
        repeated([](const std::string &n) {
            return "net_group_g" + n + "_elem_1_x=1\nrule_pffwd_" + n + "_x=1\nn" + n + "=\n";
        }),
        repeated([](const std::string &n) { return "n" + n + "=\n"; }) +
            repeated([](const std::string &n) {
                return "netobj_list_Inside_element_" + n + "_interface=eth" + n + "\n";
            }),
    };
    for (const std::string &text : texts) {
        SCOPED_TRACE(text.substr(0, 200));
        flat_tree tree(text);
        upgrade(&tree.head);
        EXPECT_EQ(export_all(&tree.head), 0);
        shape_for_xml(&tree.head);
        EXPECT_NE(tree.head, nullptr);
    }
}

TEST(LargeTree, DeepLists)
{
    std::string key;
    for (int depth = 0; depth < 1000000; ++depth)
        key += depth % 3 == 0 ? "group_" : "elem_";
    flat_tree tree("def_" + key + "x=1\ngroup_" + key + "x=2\n");
    flat_tree copy("");
    copy.head = copy_fragtree(&tree.head, nullptr);
    frag *first = copy.head;
    merge_fragtree(&tree.head->child, first);
    upgrade(&tree.head);
    const temp_file file;
    EXPECT_EQ(exportffile(file.path(), &tree.head, EXPORT_FLAT), 0);
    EXPECT_EQ(exportffile("/dev/null", &tree.head, EXPORT_XML), 0);
    canon_xml(&tree.head);
    norm41(&tree.head);
    EXPECT_NE(tree.head, nullptr);
}

// Lines of keys that the passes look for, in any combination, and values that are such keys.
static std::string random_knot(std::mt19937 &random)
{
    static constexpr const char *PARTS[] = {
        "def",        "proxy",         "cust",     "num",      "proxies",    "parm",
        "name",       "value",         "policy",   "netobj",   "list",       "Inside",
        "element",    "interface",     "alias",    "eth0",     "INTERFACE",  "1",
        "2",          "pfedit",        "lcl",      "rule1",    "ip",         "insideaddr",
        "plug-relay", "config-sets",   "port",     "group",    "fw-admin",   "gui",
        "client",     "fw-admin$LIST", "deny-x",   "rule",     "net",        "elem",
        "attrs",      "gname",         "realname", "cyberurl", "proxy-type", "state",
    };
    static constexpr const char *VALUES[] = {
        "",
        "1",
        "yes",
        "eth0",
        "eth0:1",
        "Inside=",
        "Inside_element=",
        "Inside_element_1=",
        "all%5Finterfaces=",
        "plug-relay",
        "a_1",
        "a_b",
        "deny-permit-c_2",
        "++a++",
        "none",
        "=",
        "_",
        "%",
        "netobj_list_Inside",
    };
    const auto pick = [&random](auto &table) { return table[random() % std::size(table)]; };
    static constexpr const char *STARTS[] = {
        "",
        "",
        "def_proxy_1_",
        "cust_proxy_1_",
        "policy_1_",
        "netobj_list_Inside_element_1_",
        "netobj_list_Inside_element_2_",
        "def_proxy_plug-relay_config-sets_",
        "netobj_list_all%5Finterfaces_element_",
        "def_num_",
        "cust_num_",
        "ip_",
        "pfedit_lcl_",
    };
    std::string text = "def_num_proxies=1\ncust_num_proxies=1\n";
    for (auto lines = random() % 60; lines > 0; --lines) {
        text += pick(STARTS);
        for (auto parts = random() % 5; parts > 0; --parts)
            text += std::string(pick(PARTS)) + "_";
        text += std::string(pick(PARTS)) + "=" + pick(VALUES) + "\n";
    }
    return text;
}

// The same with tags, which can make many siblings of one name.
static std::string random_tags(std::mt19937 &random)
{
    static constexpr const char *TAGS[] = {
        "<?xml version=\"1.0\"?>",
        "<varnholt.conf>",
        "<proxy>",
        "<web name=\"a_b\">",
        "<config-sets>",
        "<group gname=\"g\">",
        "<group>",
        "<elem seq=\"2\">",
        "<netobj>",
        "<iflist name=\"i\">",
        "<iflist>",
        "<element item=\"1\">",
        "<net>",
        "<ipnet name=\"n\"/>",
        "<ipnet name=\"m\">x",
        "<attrs>",
        "<list>",
        "<Inside>",
        "<element>",
        "<e><interface>eth0</interface>",
        "<alias>yes</alias>",
        "<1>",
        "<rule>",
        "<fwdrule seq=\"1\">",
        "<def>",
        "<pffwd>",
        "text",
        "<x/>",
        "</proxy>",
        "</group>",
        "</element>",
        "</e>",
        "</netobj>",
        "</1>",
        "</rule>",
        "</net>",
        "</def>",
        "</iflist>",
        "</fwdrule>",
        "</config-sets>",
    };
    std::string text = random() % 2 == 0 ? "<?xml version=\"1.0\"?><varnholt.conf>" : "";
    for (auto tags = random() % 60; tags > 0; --tags)
        text += TAGS[random() % std::size(TAGS)];
    return text;
}

TEST(LargeTree, Knots)
{
    std::mt19937 random(1);
    for (int round = 0; round < 1500; ++round) {
        const std::string text = round % 3 == 0 ? random_tags(random) : random_knot(random);
        SCOPED_TRACE(text);
        flat_tree tree(text);
        const flat_tree untouched(text);
        EXPECT_EQ(export_all(&tree.head), 0);
        EXPECT_EQ(tree.listing(), untouched.listing());
        if (round % 2 == 0)
            canon_xml(&tree.head);
        upgrade(&tree.head);
        expect_sound(&tree.head);
        norm41states(&tree.head);
        norm41(&tree.head);
        expect_sound(&tree.head);
        shape_for_xml(&tree.head);
        expect_sound(&tree.head);
        upgrade(&tree.head);
        canon_xml(&tree.head);
        expect_sound(&tree.head);
        if (testing::Test::HasFailure())
            return;
    }
}
