// Texts, words, numbers and lists of texts.
#include "lib/ulib/text.h"

#include "lib/ulib/heap.h"
#include "lib/ulib/name_table.h"
#include "lib/ulib/string.h"
#include "lib/ulib/strlist.h"
#include "lib/ulib/token.h"
#include "lib/ulib/wildcard.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <span>

TEST(Text, NumbersAreReadFromTheFront)
{
    struct number_row {
        std::string_view text;
        long want;
        std::string_view rest;
    };
    static const number_row cases[] = {
        {"20", 20, ""},   {"20 x", 20, " x"}, {"\v\f\r7", 7, ""}, {" \t\n7", 7, ""},
        {"+7", 7, ""},    {"-7a", -7, "a"},   {"+-7", 0, "+-7"},  {"- 7", 0, "- 7"},
        {" -", 0, " -"},  {"x7", 0, "x7"},    {"", 0, ""},        {"0x10", 0, "x10"},
        {"0010", 10, ""}, {"7/", 7, "/"},     {"7:", 7, ":"},
    };
    static const number_row bounds[] = {
        {"2147483647", 2147483647, ""},
        {"2147483648", 2147483648, ""},
        {"-2147483649", -2147483649, ""},
        {"9223372036854775807", LONG_MAX, ""},
        {"99999999999999999999990!", LONG_MAX, "!"},
        {"-9223372036854775808", LONG_MIN, ""},
        {"-9223372036854775809", LONG_MIN, ""},
    };
    for (const std::span<const number_row> rows : {std::span<const number_row>(cases), {bounds}}) {
        for (const number_row &row : rows) {
            std::string_view text = row.text;
            EXPECT_EQ(take_number(text), row.want) << row.text;
            EXPECT_EQ(text, row.rest) << row.text;
            EXPECT_EQ(lenient_number(row.text), std::clamp<long>(row.want, INT_MIN, INT_MAX));
        }
    }
}

TEST(Text, WordsCompareWithoutCase)
{
    static const struct {
        std::string_view a, b;
        bool same, begins; // the neighbours of the letters and those of other alphabets differ
    } cases[] = {
        {"Any", "aNY", true, true},     {"any", "an", false, true}, {"an", "any", false, false},
        {"", "", true, true},           {"any", "", false, true},   {"@[`{", "`{@[", false, false},
        {"\xc4", "\xe4", false, false},
    };
    for (const auto &row : cases) {
        EXPECT_EQ(same_word(row.a, row.b), row.same) << row.a;
        EXPECT_EQ(begins_with_word(row.a, row.b), row.begins) << row.a;
    }
    std::string_view text = "net.10";
    EXPECT_FALSE(take_prefix(text, "Net."));
    EXPECT_TRUE(take_prefix(text, "net."));
    EXPECT_FALSE(take_prefix(text, "100"));
    EXPECT_EQ(text, "10");
    EXPECT_EQ(text_of(nullptr), "");
}

TEST(Text, NameTablesTakeTheFirstRow)
{
    static constexpr name_num names[] = {
        {"none", 0}, {"one", 1}, {"first", 1}, {"ONE", 11}, {"minus", -1}};
    for (const auto &[name, number] :
         {name_num{"first", 1}, {"ONE", 1}, {"Minus", -1}, {"on", 0}, {"ones", 0}, {"", 0}})
        EXPECT_EQ(parsenametonum(names, name), number) << name;
    EXPECT_EQ(parsenumtoname(names, 1), "one");
    EXPECT_EQ(parsenumtoname(names, -1), "minus");
    EXPECT_STREQ(parsenumtoname(names, 2).data(), "") << "a C text, too";
}

TEST(Token, SplitsIntoWords)
{
    static const struct {
        const char *text, *delimiter, *want; // a bar behind each word
    } cases[] = {
        {"a b", " ", "a|b|"},      {"a\tb c", " ", "a|b|c|"}, {" a \t  b", " ", "a|b|"},
        {"a b ", " ", "a|b||"},    {"a \t ", " ", "a||"},     {" \t", " ", "|"},
        {"a.b,c", ".,", "a|b,c|"}, {"a b\tc", "", "a b|c|"},  {"a b\tc", nullptr, "a b|c|"},
        {"a\nb", " ", "a\nb|"},    {nullptr, " ", ""},
    };
    for (const auto &row : cases) {
        int count = 0;
        const heap_strlist list(tokens(row.text, row.delimiter, &count));
        std::string words;
        for (int i = 0; i < count; ++i)
            words += std::string(list[static_cast<std::size_t>(i)]) + "|";
        EXPECT_EQ(words, row.want);
        EXPECT_EQ(list == nullptr ? nullptr : list[static_cast<std::size_t>(count)], nullptr);
    }
    EXPECT_EQ(tokens("", " ", nullptr), nullptr);
    // Runs into the time limit of the whole program when the time grows with the square.
    std::string text;
    for (int i = 0; i < 2'000'000; ++i)
        text += "w ";
    const heap_strlist list(tokens(text.c_str(), " ", nullptr));
    EXPECT_STREQ(list[2'000'000], "");
}

TEST(Token, GetsepSplitsAtTheFirstSeparator)
{
    static const struct {
        const char *text, *separator, *left, *right;
    } cases[] = {
        {"k=v", "=", "k", "v"},   {"a=b=c", "=", "a", "b=c"},  {"a::b", "::", "a", ":b"},
        {"a:b", "::", "a:b", ""}, {"=b", "=", "", "b"},        {"a=", "=", "a", ""},
        {"abc", "", "", "bc"},    {"abc", nullptr, "abc", ""},
    };
    char *left = nullptr, *right = nullptr;
    for (const auto &row : cases) {
        EXPECT_EQ(getsep(row.text, row.separator, &left, &right), 0);
        EXPECT_STREQ(left, row.left);
        EXPECT_STREQ(right, row.right);
    }
    for (const std::size_t length : {1023U, 1024U, 2048U}) {
        const std::string a(length, 'a'), b(length, 'b');
        EXPECT_EQ(getsep((a + "=" + b).c_str(), "=", &left, &right), 0);
        EXPECT_EQ(left, a.substr(0, 1023));
        EXPECT_EQ(right, b.substr(0, 1023));
    }
    getsep("xx-one-two=a,b,c", "=", &left, &right); // its own results can be taken apart
    getsep(left + 3, "-", &left, &right);
    EXPECT_STREQ(left, "one");
    EXPECT_STREQ(right, "two");
    for (const char *nothing : {"", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(getsep(nothing, "=", &left, &right), -1);
        EXPECT_EQ(std::string(left) + right, "");
    }
}

TEST(Wildcard, Matches)
{
    static const struct {
        const char *pattern, *text;
        int want, in_list; // alone, and the number in the list "x PATTERN y"
    } cases[] = {
        {"*", "", 1, 2},     {"", "x", 0, 1},    {"*a*b", "axxb", 1, 2},
        {"a*b", "a", 0, 0},  {"A*", "ab", 0, 0}, {"a?c", "abc", 0, 0},
        {"a*", "a*b", 1, 2}, {"*", "y", 1, 3},   {"*", nullptr, 1, 2},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.pattern);
        EXPECT_EQ(wmatch(row.pattern, row.text), row.want);
        EXPECT_EQ(wtmatch((std::string("\tx \t") + row.pattern + " y").c_str(), row.text),
                  row.in_list);
    }
    EXPECT_EQ(wmatch(nullptr, "x"), 0);
    EXPECT_EQ(wtmatch(nullptr, "x"), 0);
    EXPECT_EQ(wtmatch("", "x"), 0);
    EXPECT_EQ(wtmatch("* ", ""), 2);
    // Does not come to an end when each star tries every position anew.
    std::string pattern;
    for (int i = 0; i < 50; ++i)
        pattern += "*a";
    pattern += "*b";
    EXPECT_EQ(wmatch(pattern.c_str(), std::string(5000, 'a').c_str()), 0);
}

TEST(HeapText, IsCopiedAndGrown)
{
    const heap_text bytes(bncat(bncat(nullptr, 0, "abc", 3), 3, "\0d", 2));
    EXPECT_EQ(std::string_view(bytes.get(), 5), std::string_view("abc\0d", 5));
    bytes.get()[5] = '\0'; // the promised room, checked by the sanitizer
    EXPECT_EQ(bncat(bytes.get(), 5, nullptr, 5), bytes.get());
    EXPECT_EQ(stradd(nullptr, "cd", 0), nullptr);
    static const struct {
        const char *source;
        int length;
        std::string_view want; // with zeros to the end
    } cases[] = {
        {"abcdef", 3, {"abc\0", 4}},
        {"abc", 6, {"abc\0\0\0\0", 7}},
        {"abc", -7, {"\0", 1}},
        {nullptr, 2, {"\0\0\0", 3}},
    };
    for (const auto &row : cases) {
        const heap_text copy(strsave(row.source, row.length));
        EXPECT_EQ(std::string_view(copy.get(), row.want.size()), row.want);
        const heap_text sum(stradd(heap_copy("ab"), row.source, row.length));
        EXPECT_EQ(sum.get(), std::string("ab") + row.want.data());
    }
}

TEST(HeapText, RepstrReplacesInPlace)
{
    static const struct {
        int oldlength;
        const char *replacement;
        int newlength;
        const char *want; // of "abXYZ"
        int position;
    } cases[] = {
        {2, "12345", 5, "12345XYZ", 5}, {4, "1", 1, "1Z", 1},
        {0, "12", 1, "1abXYZ", 1},      {9, "1", 9, "1", 1},
        {-1, "1", -1, "abXYZ", 0},      {2, nullptr, 3, "XYZ", 0},
    };
    for (const auto &row : cases) {
        char text[32] = "abXYZ";
        EXPECT_EQ(repstr(text, row.oldlength, row.replacement, row.newlength) - text, row.position);
        EXPECT_STREQ(text, row.want);
    }
}

TEST(StringList, KeepsOrderAndOwners)
{
    static std::string released;
    char first[] = "first";
    int count = -1, length = 3;
    char **list = addptrlist(addptrlist(nullptr, first, nullptr), nullptr, &count);
    EXPECT_EQ(count, 1) << "null ends a list and is no entry";
    list = addstrlist(addstrlist(list, "abcdef", &length), "abc", nullptr);
    EXPECT_EQ(length, 2);
    EXPECT_EQ(list[3], nullptr);
    freestrlist(list, [](void *entry) {
        released += std::string(static_cast<const char *>(entry)) + "|";
        if (released != "first|") // which is not the list's own
            std::free(entry);
    });
    EXPECT_EQ(released, "first|abc||");
    freestrlist(nullptr, nullptr);
}
