// Network objects, as objects and as address text.
#include "lib/frag/objects/netobj.h"

#include "lib/frag/objects/netobj_text.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/objects/pattern.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/ulib/bounds.h"
#include "tests/case_lines.h"
#include "tests/frag/tree_text.h"
#include "tests/ulib/report_log.h"

#include <gtest/gtest.h>
#include <string>

using namespace flatlink;

static std::string with_reports(const std::string &visits, int result)
{
    return visits + std::to_string(result) + "\n" + report_log::texts;
}

// The key:type of each object that enum_group visits.
static std::string visited(frag **head, const char *key)
{
    std::string objects;
    const report_log log;
    const int result =
        enum_group(head, ffind(head, key), [&](frag **db, frag *found, const char *type) {
            EXPECT_EQ(db, head);
            objects +=
                std::string(fragkeyname(found)) + ":" + (type == nullptr ? "null" : type) + " ";
            return 7;
        });
    return with_reports(objects, result);
}

// Each text followed by a bar. The callback gives 1, 2, 3, ...; a list has no result of its own.
static std::string texts_of(frag **head, const char *key)
{
    const report_log log;
    std::string texts;
    int calls = 0;
    const int result = enum_netobj(head, key, [&](frag *element, const char *text) {
        EXPECT_EQ(element, nullptr);
        texts += std::string(text) + "|";
        return ++calls;
    });
    return with_reports(texts, result);
}

TEST(Netobj, ObjectsAndTexts)
{
    const auto lines = case_lines("objects");
    built_tree tree(lines[0].second);
    std::string key, got, want;
    for (const auto &[word, text] : lines) {
        if (word == "tree")
            continue;
        want += text + "\n";
        if (word == "key")
            got += (key = text) + "\n";
        else if (word != "said")
            got += (word == "objs" ? visited : texts_of)(&tree.head, key.c_str());
    }
    EXPECT_EQ(got, want);
    EXPECT_EQ(tree_text(tree.head).find('('), std::string::npos) << "a mark left behind";
}

// A process that reads its database again must not find less in it, and a program that walks for
// years not less from one day on.
TEST(Netobj, EachRunAndEachWalkOutsideHasItsSteps)
{
    built_tree tree("a= g_elem_1_obj=a");
    start_bounds();
    for (int runs = 0; runs < 2; ++runs) {
        const object_run run;
        set_walk_origin(ffind(&tree.head, "a"));
        EXPECT_EQ(visited(&tree.head, "g"), "a:null 0\n");
        const report_log log;
        EXPECT_FALSE(take_steps(MAX_OBJECT_STEPS, tree.head));
        EXPECT_FALSE(take_steps(1, tree.head));
        EXPECT_EQ(report_log::calls, 1);
        EXPECT_EQ(visited(&tree.head, "g"), "0\n");
    }
    ASSERT_EQ(struck_bounds().size(), 1U);
    EXPECT_EQ(struck_bounds()[0].where, "a, a");
    EXPECT_GT(struck_bounds()[0].seen, MAX_OBJECT_STEPS + 1);
    EXPECT_TRUE(take_steps(MAX_OBJECT_STEPS, tree.head));
    EXPECT_EQ(visited(&tree.head, "g"), "a:null 0\n");
}

// What a run knows of groups follows the tree as far as it may change.
TEST(Netobj, ARunSeesObjectsThatAreMade)
{
    built_tree tree("g_elem{1_obj=new 2_obj=temp_pattern_x1} l_elem{10_obj=g 1=}");
    const object_run run;
    const std::string missing = "DEBUG enum group: didn't find obj g_elem_";
    EXPECT_EQ(visited(&tree.head, "g"), "0\n" + missing + "1_obj\n" + missing + "2_obj\n");
    fset(&tree.head, "new", "");
    objects_changed();
    EXPECT_EQ(visited(&tree.head, "g"), "new:null 0\n" + missing + "2_obj\n");
    for (const char *patterns : {"a b", "c d"}) {
        std::string text = patterns, objects;
        enum_pattern(
            &tree.head, &text,
            [&](frag **, frag *found, const char *) {
                objects += std::string(fval(&found->child, "pat")) + " ";
                return 0;
            },
            "x", nullptr);
        EXPECT_EQ(objects, std::string(patterns) + " ");
    }
    EXPECT_EQ(visited(&tree.head, "g"), "new:null temp_pattern_x1:null 0\n");
    EXPECT_EQ(visited(&tree.head, "l"), "g:null 0\nDEBUG no obj key for l_elem_1\n");
}

TEST(Netobj, NestingEnds)
{
    std::string text = "a=\n", want;
    for (int level = 1; level <= MAX_OBJECT_NESTING + 10; ++level) {
        const std::string group = "g" + std::to_string(level) + "_elem_";
        text += group + "1_type=group\n" + group + "1_obj=g" + std::to_string(level + 1) + "\n" +
                group + "2_obj=a\n";
        want += level <= MAX_OBJECT_NESTING ? "a:null " : "";
    }
    owned_tree tree(text);
    start_bounds();
    EXPECT_EQ(visited(&tree.head, "g1"),
              want + "0\nvhltcfgerr: Object g401 is nested too deeply.\n");
    ASSERT_EQ(struck_bounds().size(), 1U);
    EXPECT_EQ(struck_bounds()[0].where, "g401");
    EXPECT_EQ(tree_text(tree.head).find('('), std::string::npos);
}

TEST(Netobj, OlderForm)
{
    static constexpr const char *LISTS =
        "netobj{list{l_element{b=1 a=2} empty_element= none=} group{none= empty_member="
        " g_member{2{name=l type=List} 1{name=h type=Group} 3{name=l type=list} 4{name=x type=G}"
        " 5_type=G 6_name=empty} h_member{1{name=g type=G} 2{name=l type=L}}"
        " lost_member{1{name=x type=L} 2{name=l type=L}}}}";
    static const struct {
        const char *key;
        int stop_at;      // the call that gives 5; the others give 0
        const char *want; // the elements' names, the text for none
        int result;
    } rows[] = {
        {"l", 0, "ba", 0},
        {"l", 1, "b", 5},
        {"x", 1, "x", 5},
        {"none", 0, "", 1},
        {"empty", 0, "", 0},
        {"$$NETOBJ.g", 0, "baba", 0},
        {"$$NETOBJ.g", 3, "bab", 5},
        {"$$NETOBJ.x", 0, "", 1},
        {"$$NETOBJ.none", 0, "", 1},
        {"$$NETOBJ.empty", 0, "", 0},
        {"$$NETOBJ.lost", 0, "", 1},
    };
    for (const auto &row : rows) {
        built_tree tree(LISTS);
        std::string calls;
        int count = 0;
        const auto walk = row.key[0] == '$' ? enum_netobj : enum_netobj42;
        const int result = walk(&tree.head, row.key, [&](frag *element, const char *text) {
            calls += element == nullptr ? text : element->name;
            EXPECT_STREQ(text, element == nullptr ? row.key : "l");
            return ++count == row.stop_at ? 5 : 0;
        });
        EXPECT_EQ(calls, row.want) << row.key;
        EXPECT_EQ(result, row.result) << row.key;
        EXPECT_EQ(tree_text(tree.head), LISTS); // the guard in the groups is gone
    }
    built_tree tree(LISTS); // the other call knows the mark, too
    EXPECT_EQ(enum_netobj42(&tree.head, "$$NETOBJ.g", [](frag *, const char *) { return 5; }), 5);
    EXPECT_EQ(enum_netobj42(&tree.head, "$$NETOBJ.x", n2n_func), 1);
    EXPECT_EQ(enum_netobj(&tree.head, nullptr, n2n_func), 0); // no key: no text
}

TEST(Netobj, OneLineOfTextsIsCut)
{
    const std::string half(OBJECT_TEXT_SIZE / 2 + 1, 'x'); // with the mark one too many
    const std::string fits(NETPERM_TEXT_SIZE - 10, 'y');
    built_tree tree("net{dns{h_addr=" + half + " f_addr=" + fits + "} ipnet_n{addr=net_dns_h" +
                    " mask=net_dns_h} vpnclient_" + half + half +
                    "= group{g_elem{1_obj=net_dns_f 2_obj=123456789} h_elem{1_obj=net_dns_f"
                    " 2_obj=1234567890 3_obj=z} i_elem{1_obj=a 2_obj=b}}}"
                    " netobj{list_l_element_1= group_g_member_1{name=l type=L}}");
    const auto one_text = [&](const std::string &key) {
        std::string given;
        enum_netobj(&tree.head, key.c_str(), [&](frag *, const char *text) {
            given = text;
            return 0;
        });
        return given;
    };
    EXPECT_EQ(one_text("net_ipnet_n"), (half + ":" + half).substr(0, OBJECT_TEXT_SIZE));
    EXPECT_EQ(one_text("net_vpnclient_" + half + half),
              ("~" + half + half).substr(0, OBJECT_TEXT_SIZE));
    EXPECT_EQ(netobj_to_netperm(&tree.head, "net_group_g"), fits + " 123456789");
    EXPECT_EQ(netobj_to_netperm(&tree.head, "net_group_h"), fits + " 123456789");
    EXPECT_EQ(netobj_to_netperm(&tree.head, "net_group_i"), "a b");
    EXPECT_EQ(netobj_to_netperm(&tree.head, "10.0.0.9"), ""); // no object
    EXPECT_EQ(netobj_to_netperm(&tree.head, "$$NETOBJ.g"), "");
}

TEST(Netobj, IsAuthon)
{
    for (const char *text : {"", "never", "NEVER", "Inherit"})
        EXPECT_FALSE(is_authon(text)) << text;
    for (const char *text : {"never ", "always", "off"})
        EXPECT_TRUE(is_authon(text)) << text;
    EXPECT_FALSE(is_authon(nullptr));
}
