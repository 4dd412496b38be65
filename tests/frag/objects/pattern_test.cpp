#include "lib/frag/objects/pattern.h"

#include "lib/frag/tree/frag_name.h"
#include "tests/case_lines.h"
#include "tests/frag/tree_text.h"

#include <gtest/gtest.h>
#include <string>

using namespace flatlink;

TEST(ConvertPat, Cases)
{
    for (case_row &row : case_rows("patterns", "code want")) {
        std::string text = row["case"];
        EXPECT_EQ(std::to_string(convert_pat(&text)), row["code"]) << row["case"];
        EXPECT_EQ(text, row["want"]);
    }
    EXPECT_EQ(convert_pat(nullptr), -1);
}

TEST(EnumPattern, OnePattern)
{
    static const struct {
        const char *text, *want, *type;
    } rows[] = {
        {"*.*.example.com", "example.com", "dns"},   {"*example.com", "*example.com", "dns"},
        {"10.1.*", "10.1.0.0:255.255.0.0", "ipnet"}, {"*.", "0.0.0.0:0.0.0.0", "ipnet"},
        {"10.1.2.3", "10.1.2.3", "as before"},       {"10.1.2.3/24", "10.1.2.3/24", "dns"},
    };
    frag *head = nullptr;
    for (const auto &row : rows) {
        std::string text = row.text;
        const char *type = "as before";
        EXPECT_EQ(enum_pattern(&head, &text, nullptr, "T", &type), 1); // no list, no callback
        EXPECT_EQ(text, row.want);
        EXPECT_STREQ(type, row.type) << row.text;
    }
    EXPECT_EQ(enum_pattern(&head, nullptr, nullptr, "T", nullptr), 0);
    EXPECT_EQ(head, nullptr);
}

TEST(EnumPattern, ListsMakeObjects)
{
    static const struct {
        const char *text, *tag;
        std::string want; // object, type and pattern of each visit
    } rows[] = {
        {" 10.*   *.x ", "T", "pattern_T1:pattern=10.* pattern_T2:pattern=*.x "},
        {"only ", "T", "pattern_T1:pattern=only "},
        {"a\tb c", "T", "pattern_T1:pattern=a\tb pattern_T2:pattern=c "},
        {"  ", "U", "patgroup_U:patgroup= "}, // no word: the group itself
    };
    owned_tree tree; // the same for all rows: a list replaces the one before of its tag
    for (const auto &row : rows) {
        std::string text = row.text, visits;
        const auto visit = [&](frag **db, frag *obj, const char *type) {
            EXPECT_EQ(db, &tree.head);
            const char *pattern = fval(&obj->child, "pat");
            visits += std::string(fragkeyname(obj)).substr(5) + ":" + type + "=" +
                      (pattern == nullptr ? "" : pattern) + " ";
            return 7;
        };
        EXPECT_EQ(enum_pattern(&tree.head, &text, visit, row.tag, nullptr), 0);
        EXPECT_EQ(visits, row.want);
    }
    // A replaced group lives until it is let go.
    const frag *held = ffind(&tree.head, "temp_patgroup_T_elem_1");
    std::string text = "a b c d e f g h i j k";
    const auto nothing = [](frag **, frag *, const char *) { return 0; };
    enum_pattern(&tree.head, &text, nothing, "T", nullptr);
    EXPECT_STREQ(held->name, "1");
    free_replaced_patterns();
    EXPECT_STREQ(fval(&tree.head, "temp_pattern_T11_pat"), "k");
}
