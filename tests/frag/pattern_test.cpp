#include "lib/frag/pattern.h"

#include <gtest/gtest.h>
#include <string>

#include "lib/frag/frag.h"
#include "lib/frag/frag_name.h"
#include "tests/frag/tree_text.h"

TEST(ConvertPat, Cases)
{
    static const struct {
        const char *text;
        int result;
        const char *want; // null: as it was
    } rows[] = {
        {"", 0, "0.0.0.0:0.0.0.0"},
        {"*", 0, "0.0.0.0:0.0.0.0"},
        {"***", 0, "0.0.0.0:0.0.0.0"},
        {"10", 0, "10.0.0.0:255.0.0.0"},
        {"10.", 0, "10.0.0.0:255.0.0.0"},
        {"10.1", 0, "10.1.0.0:255.255.0.0"},
        {"10.1.*", 0, "10.1.0.0:255.255.0.0"},
        {"10..1...2", 0, "10.1.2.0:255.255.255.0"},
        {"10.*.3.4", 0, "10.0.3.4:255.0.255.255"},
        {"*.*.*.*", 0, "0.0.0.0:0.0.0.0"},
        {"10*3.4", 0, "10.0.3.4:255.0.255.255"},
        {"300.256.*", 0, "44.0.0.0:255.255.0.0"},
        {"010.1", 0, "10.1.0.0:255.255.0.0"},
        {"10.1.2.3", 1, nullptr},
        {"10.1.2.3.", 1, nullptr},
        {"300.1.2.3", 1, nullptr},
        {"10.1.2.3:255.255.255.0", 1, nullptr},
        {"10.1.2.3-10.1.2.9", 1, nullptr},
        {"*.1.2.3:x", 1, nullptr},
        {"10.1.2.3/24", -1, nullptr},
        {"10.1.2.3.4", -1, nullptr},
        {"10.1:255.0.0.0", -1, nullptr},
        {".1", -1, nullptr},
        {"host.example", -1, nullptr},
        {"*.example", -1, nullptr},
        {"-1", -1, nullptr},
    };
    for (const auto &row : rows) {
        std::string text = row.text;
        EXPECT_EQ(convert_pat(&text), row.result) << row.text;
        EXPECT_EQ(text, row.want == nullptr ? row.text : row.want);
    }
    EXPECT_EQ(convert_pat(nullptr), -1);
}

TEST(EnumPattern, OnePattern)
{
    static const struct {
        const char *text, *want, *type;
    } rows[] = {
        {"*.example.com", "example.com", "dns"},
        {"*.*.example.com", "example.com", "dns"},
        {"*example.com", "*example.com", "dns"},
        {"host", "host", "dns"},
        {"10.1.*", "10.1.0.0:255.255.0.0", "ipnet"},
        {"*.", "0.0.0.0:0.0.0.0", "ipnet"},
        {"", "0.0.0.0:0.0.0.0", "ipnet"},
        {"10.1.2.3", "10.1.2.3", "as before"},
        {"10.1.2.3-10.1.2.9", "10.1.2.3-10.1.2.9", "as before"},
        {"10.1.2.3/24", "10.1.2.3/24", "dns"},
    };
    const auto never = [](frag **, frag *, const char *) {
        ADD_FAILURE() << "one pattern is no list";
        return 0;
    };
    frag *head = nullptr;
    for (const auto &row : rows) {
        std::string text = row.text;
        const char *type = "as before";
        EXPECT_EQ(enum_pattern(&head, &text, never, "T", &type), 1);
        EXPECT_EQ(text, row.want);
        EXPECT_STREQ(type, row.type) << row.text;
        EXPECT_EQ(enum_pattern(&head, &(text = row.text), never, "T", nullptr), 1);
    }
    EXPECT_EQ(enum_pattern(&head, nullptr, never, "T", nullptr), 0);
    EXPECT_EQ(head, nullptr);
}

TEST(EnumPattern, ListsMakeObjects)
{
    static const struct {
        const char *label, *text, *want; // object, type and pattern of each visit
    } rows[] = {
        {"runs of blanks", " 10.*   *.x ",
         "temp_pattern_T1:pattern=10.* temp_pattern_T2:pattern=*.x "},
        {"fewer than before", "only ", "temp_pattern_T1:pattern=only "},
        {"more than nine", "a b c d e f g h i j k",
         "temp_pattern_T1:pattern=a temp_pattern_T2:pattern=b temp_pattern_T3:pattern=c "
         "temp_pattern_T4:pattern=d temp_pattern_T5:pattern=e temp_pattern_T6:pattern=f "
         "temp_pattern_T7:pattern=g temp_pattern_T8:pattern=h temp_pattern_T9:pattern=i "
         "temp_pattern_T10:pattern=j temp_pattern_T11:pattern=k "},
        {"tabs do not separate", "a\tb c",
         "temp_pattern_T1:pattern=a\tb temp_pattern_T2:pattern=c "},
        {"no word: the group itself", "  ", "temp_patgroup_T:patgroup= "},
    };
    owned_tree tree; // the same for all rows: a list replaces the one before
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        std::string text = row.text;
        std::string visits;
        EXPECT_EQ(enum_pattern(
                      &tree.head, &text,
                      [&](frag **db, frag *obj, const char *type) {
                          EXPECT_EQ(db, &tree.head);
                          const char *pattern = child_value(obj, "pat");
                          visits += std::string(fragkeyname(obj)) + ":" + type + "=" +
                                    (pattern == nullptr ? "" : pattern) + " ";
                          return 7;
                      },
                      "T", nullptr),
                  0);
        EXPECT_EQ(visits, row.want);
    }
    // Objects stay, and are told apart by their tag.
    EXPECT_STREQ(fval(&tree.head, "temp_pattern_T11_pat"), "k");
    std::string text = "p q";
    enum_pattern(
        &tree.head, &text, [](frag **, frag *, const char *) { return 0; }, "U", nullptr);
    EXPECT_STREQ(fval(&tree.head, "temp_pattern_T1_pat"), "a\tb");
    EXPECT_STREQ(fval(&tree.head, "temp_pattern_U1_pat"), "p");
    free_replaced_patterns();
}

TEST(EnumPattern, ReplacedGroupLivesUntilItIsLetGo)
{
    owned_tree tree;
    const auto nothing = [](frag **, frag *, const char *) { return 0; };
    std::string text = "a b";
    enum_pattern(&tree.head, &text, nothing, "T", nullptr);
    const frag *held = ffind(&tree.head, "temp_patgroup_T_elem_1");
    ASSERT_NE(held, nullptr);
    enum_pattern(&tree.head, &text, nothing, "T", nullptr);
    EXPECT_STREQ(held->name, "1");
    free_replaced_patterns();
    EXPECT_NE(ffind(&tree.head, "temp_patgroup_T_elem_1"), nullptr);
}
