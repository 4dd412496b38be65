// Names, keys and values as texts.
#include "lib/frag/tree/frag_name.h"

#include "lib/frag/tree/frag_text.h"
#include "tests/frag/tree_text.h"
#include "tests/fuzz/memory_file.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <vector>

TEST(CopyFragname, Cases)
{
    static const struct {
        std::string_view stored;
        unsigned flags;
        int limit;
        std::string_view want;
    } rows[] = {
        {"abc", 0, -1, "abc"},     {"%5Fi%5f", 0, -1, "_i_"},  {"a%", 0, -1, "a%"},
        {"a%5", 0, -1, "a%5"},     {"a%g1b", 0, -1, "a\001b"}, {"%2525", 0, -1, "%25"},
        {"a%00b", 0, -1, "a"},     {"x", 1, -1, "permit-x"},   {"x", 4, -1, "absorb-x"},
        {"x", 8, -1, "onlyon-x"},  {"x", 15, -1, "deny-x"},    {"x", 13, -1, "permit-x"},
        {"x", 12, -1, "absorb-x"}, {"x", 0xFF00, -1, "x"},     {"abc", 0, 0, "abc"},
        {"abc", 0, 4, "abc"},      {"abc", 0, 3, "ab"},        {"abc", 1, 1, ""},
        {"abc", 2, 4, "den"},      {"abc", 2, 7, "deny-a"},    {"ab%5F", 0, 5, "ab%5"},
        {"a%5Fb", 0, 5, "a_"},
    };
    for (const auto &row : rows) {
        const frag_ptr node(newsymfrag(row.stored));
        node->flags = row.flags;
        // As large as the manual asks for, so that a byte more is an error.
        const std::size_t room = row.limit > 0 ? static_cast<std::size_t>(row.limit)
                                               : row.stored.size() + std::strlen("permit-") + 1;
        std::vector<char> buffer(room, '?');
        EXPECT_EQ(std::string_view(copy_fragname_len(node.get(), buffer.data(), row.limit)),
                  row.want);
    }
    EXPECT_STREQ(fragname(nullptr), "");
    for (const std::size_t length : {62UL, 63UL, 64UL, 126UL}) {
        const frag_ptr node(newsymfrag(std::string(length - 3, 'n') + "%5F"));
        EXPECT_EQ(fragname(node.get()), length == 64  ? std::string(61, 'n') + "%5"
                                        : length > 64 ? std::string(63, 'n')
                                                      : std::string(length - 3, 'n') + "_");
    }
}

TEST(Fragkeyname, Cases)
{
    std::string ten; // ten parts with the separators between them: 1009 bytes
    for (int part = 0; part < 10; ++part)
        ten += (part == 0 ? "" : "_") + std::string(100, 'n');
    const struct {
        std::string key, want;
    } rows[] = {
        {"netobj_all%5Fi", "netobj_all%5Fi"},
        {"permit-a_deny-permit-b__c", "permit-a_deny-b__c"},
        {ten + "_xxxxxxxxx", ten + "_xxxxxxxxx"},
        {ten + "_xxxxxxxxxx", ten + "_"}, // would end at 1020
        {ten + "_xxxxxxxxxx_y", ten + "__y"},
        {ten + "_deny-xxxxx", ten + "_"},
        {ten + std::string(30, '_'), ten + std::string(14, '_')},
    };
    for (const auto &row : rows) {
        owned_tree tree(row.key + "=\n");
        const frag *node = tree.head;
        while (node->child != nullptr)
            node = node->child;
        EXPECT_EQ(fragkeyname(node), row.want);
    }
    EXPECT_STREQ(fragkeyname(nullptr), "");
}

TEST(FragName, WordsThatLookLikePrefixes)
{
    for (const std::string word : {"permit", "deny"})
        for (const std::string name : {"route-char", "relay", "spam"}) {
            EXPECT_EQ(attr_remap(word + "-" + name), name + "-" + word);
            EXPECT_EQ(attr_revmap(name + "-" + word), word + "-" + name);
        }
    EXPECT_EQ(attr_remap("permit-relays"), "permit-relays");
    EXPECT_EQ(attr_revmap("permit-relay"), "permit-relay");
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

TEST(FragText, BlankAndTrue)
{
    static const struct {
        const char *text;
        bool is_blank;
        int truth;
    } rows[] = {
        {nullptr, true, 0},    {"", true, 0},     {" \t", true, 0},
        {"\n", false, 0},      {"on", false, 1},  {"YES", false, 1},
        {"\t True", false, 1}, {"off", false, 0}, {"No", false, 0},
        {"FALSE", false, 0},   {"1", false, 1},   {" 0042x", false, 42},
        {"0", false, 0},       {"-1", false, 0},  {"maybe", false, 0},
        {"onward", false, 0},  {"on ", false, 0}, {"99999999999", false, INT_MAX},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(frag_isblank(row.text), row.is_blank) << testing::PrintToString(row.text);
        EXPECT_EQ(frag_istrue(row.text), row.truth) << testing::PrintToString(row.text);
    }
}

TEST(FragText, StripsCountedEnds)
{
    // A flat line's length is cut already, and what follows it stays.
    built_tree tree("a='1 \t'/1{b=' '/0 c= e='x \r\n\t' f=' \n'} s_k=' v\t \r '");
    strip_crlf_tree(&tree.head);
    EXPECT_EQ(tree_text(tree.head), "a='1 \t'/1{b=' '/0 c= e=x f=} s_k=' v'");
}

TEST(FragText, ExportFragsWritesWhatHasAValue)
{
    built_tree tree("a(1)='1 '/1{b%5Fc=2 d_e=lost} x={y=3} n_o=lost");
    memory_file file;
    EXPECT_EQ(export_frags(tree.head, file.stream, 7), 0);
    std::fclose(file.stream);
    EXPECT_STREQ(file.bytes, "permit-a=1\npermit-a_b%5Fc=2\nx=\nx_y=3\n");
}

TEST(FragText, DumpFragsListsAndMasks)
{
    built_tree tree("a(1)='1\t\xC3 ~ '/5{bc_d=2}");
    testing::internal::CaptureStdout();
    EXPECT_EQ(dump_frags(tree.head, 0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "(1)a[0001,5]=1## ~ \n  _bc[0000,0]<NONE>\n     _d[0000,1]=2\n");
}
