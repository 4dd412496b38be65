// Trees far deeper and wider than any real one, or tied in knots: no call may exhaust the stack or
// take time that grows with the square, every pass ends and leaves a sound tree, and what would
// grow as a product of two numbers in the file stops at a bound.
#include "lib/frag/export/export.h"
#include "lib/frag/export/xml_layout.h"
#include "lib/frag/layout/canon.h"
#include "lib/frag/layout/norm41.h"
#include "lib/frag/layout/norm_interfaces.h"
#include "lib/frag/layout/upgrade.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/frag_text.h"
#include "lib/frag/tree/merge.h"
#include "tests/case_lines.h"
#include "tests/frag/effort.h"
#include "tests/frag/tree_text.h"
#include "tests/ulib/report_log.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace flatlink;

static constexpr int MANY = 1'000'000 / SLOWDOWN;
static constexpr int FEWER = MANY / 10; // where each step goes far in memory, or does more

// A text many times; a '#' in it is the number of the time, from 1 on, in order or shuffled.
static std::string times(int count, std::string_view text, bool is_shuffled = false)
{
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 1);
    if (is_shuffled)
        std::shuffle(numbers.begin(), numbers.end(), std::mt19937(11));
    std::string all;
    for (const int number : numbers)
        for (const char c : text)
            all += c == '#' ? std::to_string(number) : std::string(1, c);
    return all;
}

static std::string shuffled(std::string_view text)
{
    return times(FEWER, text, true);
}

static std::int64_t count_tree(frag *head)
{
    std::int64_t count = 0;
    for (const auto &[list, parent] : lists_of(&head))
        count += count_list(*list);
    return count;
}

// Deep and wide files of one thing are played to the whole tool in tests/system.
TEST(Size, EveryNotation)
{
    const struct {
        const char *label;
        std::string file;
        std::int64_t fewest;
    } rows[] = {
        {"deep: elements with text", times(MANY, "<a>x"), MANY},
        {"wide: flat", shuffled("p_#=\n"), FEWER},
        {"wide: flat at the top", shuffled("#=\n"), FEWER},
        {"wide: section", "[p]\n" + shuffled("#=\n"), FEWER},
        {"wide: attributes", "<p " + shuffled(" #=''") + ">", FEWER},
        {"declarations", times(MANY, "<!d>") + times(MANY, "<a/>"), MANY},
        {"comments", times(MANY / 2, "<!-- -->") + times(MANY, "<a/>"), MANY},
        {"a value in many pieces", "a=" + times(MANY / SLOWDOWN, "x\r") + "\n", 1},
        {"a text in many pieces", "<a>" + times(MANY / 4 / SLOWDOWN, "x<b></b>"), 1},
    };
    for (const auto &row : rows) {
        const owned_tree tree(row.file);
        EXPECT_GE(count_tree(tree.head), row.fewest) << row.label;
    }
}

TEST(Size, EveryCall)
{
    const std::string key = times(MANY - 1, "a_") + "a";
    owned_tree tree(times(MANY, "#=1 \n"));
    fset(&tree.head, key.c_str(), "1 ");
    reverse_tree(&tree.head);
    strip_crlf_tree(&tree.head);
    EXPECT_STREQ(fval(&tree.head, key.c_str()), "1");
    EXPECT_EQ(std::string_view(fragkeyname(ffind(&tree.head, key.c_str()))).size(), 1023);
    owned_tree copy;
    copy.head = copy_fragtree(&tree.head, nullptr);
    sort_frags(&copy.head); // from the reverse order
    EXPECT_STREQ(copy.head->name, "1");
    freefrag(fdel(&copy.head, key.c_str()));
    EXPECT_EQ(count_tree(copy.head), 2 * MANY - 1);
}

TEST(Size, ShuffledNames)
{
    owned_tree tree(shuffled("p_#=\n"));
    frag *p = tree.head;
    for (int number = 1; number <= FEWER; ++number)
        ASSERT_NE(ffind(&p->child, std::to_string(number).c_str()), nullptr);
    sort_frags(&p->child);
    // From the front, where a look-up is short without an index: a deletion drops the list's.
    for (int number = 1; number <= FEWER; ++number)
        freefrag(fdel(&p->child, std::to_string(number).c_str()));
    EXPECT_EQ(p->child, nullptr);
}

// `check` looks at the tree in between.
static void run_all_passes(
    frag **head, void (*check)(frag **) = [](frag **) {})
{
    norm_fragtree(head);
    up41(head);
    check(head);
    for (const int version : {EXPORT_FLAT, EXPORT_NUMBERED, EXPORT_XML})
        exported(head, version);
    norm41states(head);
    norm41(head);
    check(head);
    shape_for_xml(head);
    check(head);
    canon_xml(head);
    check(head);
}

TEST(Size, WideLists)
{
    const std::string counters = "def_num_proxies=1\ncust_num_proxies=1\n";
    const std::string plug = "def_proxy_plug-relay_";
    const std::string inside = "netobj_list_Inside_element_";
    const std::string texts[] = {
        counters + times(FEWER / 5, "cust_proxy_#_realname=p#\ncust_proxy_#_name=s#\n"
                                    "policy_1_proxy_#_name=s#\ndef_proxy_1_parm_#_name=p#_x\n"
                                    "def_proxy_1_parm_#_value=1\n"),
        times(FEWER / 5, inside + "#_interface=eth#\nnetobj_list_eth#_INTERFACE_element_1_x=1\n"),
        times(FEWER / 5, inside + "#_interface=eth0\n") +
            times(FEWER / 9, inside + "#_alias=yes\n"),
        "proxy=\n" + plug + "text=" + std::string(1000, 'x') + "\n" +
            times(FEWER / 5, "proxy_s#=on\n" + plug + "config-sets_c#_port=1\n"),
        times(FEWER / 5, "net_group_g#_elem_1_x=1\nrule_pffwd_#_x=1\npfedit_lcl_rule#=deny+++\n"),
        times(FEWER / 5, "n#=\n") + times(FEWER / 5, inside + "#_interface=eth#\n"),
    };
    for (const std::string &text : texts) {
        SCOPED_TRACE(text.substr(0, 200));
        const report_log log;
        owned_tree tree(text);
        run_all_passes(&tree.head);
        EXPECT_EQ(report_log::texts, ""); // no bound was reached
    }
}

TEST(Size, DeepLists)
{
    const std::string key = times(MANY / 3, "group_elem_elem_");
    owned_tree tree("def_" + key + "x=1\ngroup_" + key + "x=2\n");
    owned_tree copy;
    copy.head = copy_fragtree(&tree.head, nullptr);
    merge_fragtree(&tree.head->child, copy.head);
    run_all_passes(&tree.head);
    EXPECT_GE(count_tree(tree.head), MANY);
}

TEST(Size, Knots)
{
    std::map<std::string, std::vector<std::string>> tables;
    for (const auto &[word, text] : case_lines("knots")) {
        std::istringstream pieces(text);
        for (std::string piece; std::getline(pieces, piece, '|');)
            tables[word].push_back(piece);
    }
    std::mt19937 random(1);
    const auto pick = [&](const char *word) {
        return tables.at(word)[random() % tables.at(word).size()];
    };
    for (int round = 0; round < 1500; ++round) {
        const bool has_tags = round % 3 == 0;
        std::string text = has_tags ? "<?xml version=\"1.0\"?><varnholt.conf>"
                                    : "def_num_proxies=1\ncust_num_proxies=1\n";
        for (auto count = random() % 60; count > 0; --count) {
            text += pick(has_tags ? "tag" : "head");
            for (auto more = random() % 6; !has_tags && more > 0; --more)
                text += pick("part");
            text += has_tags ? "" : pick("val") + "=\n";
        }
        SCOPED_TRACE(text);
        owned_tree tree(text);
        if (round % 2 == 0)
            canon_xml(&tree.head);
        run_all_passes(&tree.head, expect_sound);
        run_all_passes(&tree.head, expect_sound);
        if (HasFailure())
            return;
    }
}

static std::int64_t children_of(owned_tree &tree, const char *key)
{
    return count_list(ffind(&tree.head, key)->child);
}

// At a bound the rest is left as it is, and one report says so.
TEST(Size, CopiesOfThePlugRelaysSettingsEnd)
{
    const report_log log;
    const std::string relay = "def_proxy_plug-relay_";
    owned_tree tree(relay + "text=" + std::string(1 << 17, 'x') + "\n" +
                    times(5000, relay + "config-sets_s#_port=#\n"));
    EXPECT_EQ(up41(&tree.head), 0);
    const std::int64_t split = children_of(tree, "def_proxy") - 1; // 256 MB over a copy's bytes
    EXPECT_GE(split, 2040);
    EXPECT_LE(split, 2048);
    EXPECT_EQ(report_log::texts, "plug-relay: too many config-sets for its settings, " +
                                     std::to_string(5000 - split) + " left as they are\n");
    EXPECT_NE(fval(&tree.head, "def_proxy_plug-relay_text"), nullptr);
    EXPECT_EQ(children_of(tree, "def_proxy_plug-relay_config-sets"), 5000 - split);
    EXPECT_STREQ(fval(&tree.head, "def_proxy_plug-relay_config-sets_s5000_port"), "5000");
    expect_sound(&tree.head);
}

// An interface with a '=' in its name ends the key early: every look-up of its aliases is then in
// one long list, or each alias moves into the next entry, with all that moved before.
TEST(Size, AliasesThroughNamesThatEndKeysAreBounded)
{
    const report_log log;
    owned_tree folded(times(10000, "netobj_list_Inside_element_#_interface=e#=\n") +
                      times(10000, "netobj_list_e#_element_1_addr=#\n"));
    canon_if(&folded.head, "netobj_list_Inside");
    const std::int64_t done = children_of(folded, "netobj_list_Inside_element") - 10000;
    EXPECT_GE(done, 1000);
    EXPECT_EQ(children_of(folded, "netobj_list"), 1 + 10000 - done);
    expect_sound(&folded.head);

    const std::string entry = "netobj_list_Inside_element_";
    std::string text;
    for (int number = 1; number <= 1500; ++number) {
        const std::string key = entry + std::to_string(number);
        text += key + "_alias=yes\n" + key + "_interface=Inside_element_" +
                std::to_string(number + 1) + "=\n"; // the last is one that was not there
    }
    owned_tree moved(text);
    norm_if(&moved.head, "netobj_list_Inside");
    const std::int64_t gone = 1501 - children_of(moved, "netobj_list_Inside_element");
    EXPECT_GE(gone, 800);
    EXPECT_STREQ(fval(&moved.head, (entry + "2_alias").c_str()), "yes");
    expect_sound(&moved.head);
    EXPECT_EQ(report_log::texts,
              "interface e" + std::to_string(done + 1) +
                  "=: too many aliases, the rest left as they are\ninterface Inside_element_" +
                  std::to_string(gone + 2) +
                  "=: too many aliases inside of aliases, the rest left as they are\n");
}
