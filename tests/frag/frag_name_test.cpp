#include "lib/frag/frag_name.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "lib/frag/frag.h"
#include "tests/frag/tree_text.h"

TEST(CopyFragname, Cases)
{
    const std::string long_name(70, 'n');
    const struct {
        const char *label;
        std::string stored;
        std::uint32_t flags;
        int limit;
        std::string want;
    } rows[] = {
        {"plain", "abc", 0, -1, "abc"},
        {"escapes", "all%5Finterfaces%25%5f", 0, -1, "all_interfaces%_"},
        {"broken escape", "a%", 0, -1, "a%"},
        {"one digit", "a%5", 0, -1, "a%5"},
        {"no digits count as 0", "a%g1b", 0, -1, "a\001b"},
        {"decoded once", "%2525", 0, -1, "%25"},
        {"NUL ends it", "a%00b", 0, -1, "a"},
        {"permit", "x", 1, -1, "permit-x"},
        {"absorb", "x", 4, -1, "absorb-x"},
        {"only on", "x", 8, -1, "onlyon-x"},
        {"deny goes first", "x", 15, -1, "deny-x"},
        {"permit before absorb", "x", 13, -1, "permit-x"},
        {"absorb before only on", "x", 12, -1, "absorb-x"},
        {"other bits", "x", 0xFF00, -1, "x"},
        {"long, no limit", long_name, 1, -1, "permit-" + long_name},
        {"limit 0 is none", long_name, 0, 0, long_name},
        {"exact limit", "abc", 0, 4, "abc"},
        {"cut", "abc", 0, 3, "ab"},
        {"nothing but the NUL", "abc", 1, 1, ""},
        {"cut inside the prefix", "abc", 2, 4, "den"},
        {"cut behind the prefix", "abc", 2, 7, "deny-a"},
        {"cut inside an escape", "ab%5F", 0, 5, "ab%5"},
        {"cut behind an escape", "a%5Fb", 0, 5, "a_"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const frag_ptr node(newsymfrag(row.stored));
        node->flags = row.flags;
        // As large as the manual asks for, so that a byte more is an error.
        const std::size_t room = row.limit > 0 ? static_cast<std::size_t>(row.limit)
                                               : row.stored.size() + std::strlen("permit-") + 1;
        std::vector<char> buffer(room, '?');
        EXPECT_EQ(copy_fragname_len(node.get(), buffer.data(), row.limit), buffer.data());
        EXPECT_EQ(buffer.data(), row.want);
        if (row.limit == -1) {
            EXPECT_EQ(copy_fragname(node.get(), buffer.data()), row.want);
            EXPECT_EQ(fragname(node.get()), row.want.substr(0, FRAGNAME_SIZE - 1));
        }
    }
    char buffer[] = "?";
    EXPECT_STREQ(copy_fragname(nullptr, buffer), "");
    EXPECT_STREQ(fragname(nullptr), "");
}

TEST(Fragname, Of62To64Bytes)
{
    for (const std::size_t length : {62UL, 63UL, 64UL, 126UL}) {
        const frag_ptr node(newsymfrag(std::string(length - 3, 'n') + "%5F"));
        const std::string want = length == 64  ? std::string(61, 'n') + "%5"
                                 : length > 64 ? std::string(63, 'n')
                                               : std::string(length - 3, 'n') + "_";
        EXPECT_EQ(fragname(node.get()), want) << length;
    }
}

// The last node of the first path of a tree.
static const frag *deepest(const frag *node)
{
    while (node->child != nullptr)
        node = node->child;
    return node;
}

TEST(Fragkeyname, Cases)
{
    const std::string n100(100, 'n');
    std::string ten; // ten parts with the separators between them: 1009 bytes
    for (int part = 0; part < 10; ++part)
        ten += (part == 0 ? "" : "_") + n100;
    const struct {
        const char *label;
        std::string key, want;
    } rows[] = {
        {"one part", "a", "a"},
        {"escapes stay", "netobj_list_all%5Finterfaces", "netobj_list_all%5Finterfaces"},
        {"prefixes", "permit-a_deny-permit-b_c", "permit-a_deny-b_c"},
        {"empty parts", "a__b", "a__b"},
        {"ends at 1019", ten + "_" + std::string(9, 'x'), ten + "_" + std::string(9, 'x')},
        {"ends at 1020", ten + "_" + std::string(10, 'x'), ten + "_"},
        {"a smaller one behind fits", ten + "_" + std::string(10, 'x') + "_y", ten + "__y"},
        {"prefixes count", ten + "_deny-" + std::string(5, 'x'), ten + "_"},
        {"no more separators than room", ten + std::string(30, '_'), ten + std::string(14, '_')},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        owned_tree tree(row.key + "=\n");
        EXPECT_EQ(fragkeyname(deepest(tree.head)), row.want);
    }
    EXPECT_STREQ(fragkeyname(nullptr), "");
}

TEST(Hexconvert, Digits)
{
    static const struct {
        const char *digits;
        int want;
    } rows[] = {{"00", 0},    {"5F", 0x5F}, {"5f", 0x5F}, {"aB", 0xAB},
                {"FF", 0xFF}, {"g1", 1},    {"1g", 0x10}, {"@`", 0}};
    for (const auto &row : rows)
        EXPECT_EQ(static_cast<unsigned char>(hexconvert(row.digits)), row.want) << row.digits;
}

TEST(AttrRemap, BothWays)
{
    for (const char *word : {"permit", "deny"})
        for (const char *name : {"route-char", "relay", "spam"}) {
            const std::string in_file = std::string(word) + "-" + name;
            const std::string in_tree = std::string(name) + "-" + word;
            EXPECT_EQ(attr_remap(in_file), in_tree);
            EXPECT_EQ(attr_revmap(in_tree), in_file);
            EXPECT_EQ(attr_remap(in_tree), in_tree);
            EXPECT_EQ(attr_revmap(in_file), in_file);
        }
    EXPECT_EQ(attr_remap("permit-relays"), "permit-relays");
    EXPECT_EQ(attr_remap(""), "");
}

TEST(Fragcmp, Cases)
{
    static const struct {
        const char *stored, *plain;
        int want;
    } rows[] = {
        {"", "", 0},           {"abc", "abc", 0}, {"a%5Fb", "a_b", 0},   {"%5F%5F", "__", 0},
        {"a%5Fb", "a%5Fb", 0}, {"a_b", "a_b", 0}, {"a%5fb", "a_b", -58}, {"b", "a", 1},
        {"ab", "a", 'b'},      {"a", "ab", -'b'}, {"%5F", "", '%'},      {"\xFF", "a", 0xFF - 'a'},
        {"a%5", "a_", -58},    {"a", "a_", -'_'},
    };
    for (const auto &row : rows)
        EXPECT_EQ(fragcmp(row.stored, row.plain), row.want) << row.stored << " " << row.plain;
}
