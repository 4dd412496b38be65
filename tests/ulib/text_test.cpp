// Texts, words, numbers and lists of texts.
#include "lib/ulib/text.h"

#include "lib/ulib/heap.h"
#include "lib/ulib/name_table.h"
#include "lib/ulib/plain_format.h"
#include "lib/ulib/string.h"
#include "lib/ulib/strlist.h"
#include "lib/ulib/token.h"
#include "lib/ulib/wildcard.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>

using namespace flatlink;

TEST(Text, NumbersAreReadFromTheFront)
{
    const auto read = [](std::string_view text) {
        const int bounded = lenient_number(text);
        const long number = take_number(text);
        EXPECT_EQ(bounded, std::clamp<long>(number, INT_MIN, INT_MAX));
        return std::to_string(number) + "," + std::string(text);
    };
    EXPECT_EQ(read(" \t\n\v\f\r+7:"), "7,:");
    EXPECT_EQ(read("-0010/"), "-10,/");
    EXPECT_EQ(read("0x10"), "0,x10");
    EXPECT_EQ(read(" +-7"), "0, +-7");
    EXPECT_EQ(read(" -"), "0, -");
    EXPECT_EQ(read("9223372036854775807"), "9223372036854775807,");
    EXPECT_EQ(read("99999999999999999999990!"), "9223372036854775807,!");
    EXPECT_EQ(read("-9223372036854775809"), "-9223372036854775808,");
}

TEST(Text, WordsCompareWithoutCase)
{
    EXPECT_TRUE(same_word("Any", "aNY"));
    EXPECT_FALSE(same_word("any", "an"));
    EXPECT_FALSE(same_word("@[`{", "`{@[")); // the neighbours of the letters
    EXPECT_FALSE(same_word("\xc4", "\xe4")); // and those of other alphabets
    EXPECT_TRUE(begins_with_word("any", "AN"));
    EXPECT_TRUE(begins_with_word("any", ""));
    EXPECT_FALSE(begins_with_word("an", "any"));
    std::string_view text = "net.10";
    EXPECT_FALSE(take_prefix(text, "Net."));
    EXPECT_TRUE(take_prefix(text, "net."));
    EXPECT_EQ(text, "10");
}

TEST(Text, NameTablesTakeTheFirstRow)
{
    static constexpr name_num names[] = {{"none", 0}, {"one", 1}, {"first", 1}, {"ONE", 11}};
    for (const auto &[name, number] : {name_num{"First", 1}, {"ONE", 1}, {"on", 0}, {"ones", 0}})
        EXPECT_EQ(parsenametonum(names, name), number) << name;
    EXPECT_EQ(parsenumtoname(names, 1), "one");
    EXPECT_STREQ(parsenumtoname(names, 2).data(), "") << "a C text, too";
}

TEST(Token, SplitsIntoWords)
{
    const auto words = [](const char *text, const char *delimiter) {
        int count = 0;
        const heap_strlist list(tokens(text, delimiter, &count));
        std::string all = std::to_string(count);
        for (std::size_t i = 0; list != nullptr && list[i] != nullptr; ++i)
            all += std::string("|") + list[i];
        return all;
    };
    EXPECT_EQ(words(" a \t  b", " "), "2|a|b");
    EXPECT_EQ(words("a b ", " "), "3|a|b|");
    EXPECT_EQ(words(" \t", " "), "1|");
    EXPECT_EQ(words("a.b,c", ".,"), "2|a|b,c");
    EXPECT_EQ(words("a b\tc", nullptr), "2|a b|c");
    EXPECT_EQ(words(nullptr, " "), "0");
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
    char *left = nullptr, *right = nullptr;
    const auto parts = [&](const char *text) {
        const int result = getsep(text, "::", &left, &right);
        return std::to_string(result) + left + "|" + right;
    };
    EXPECT_EQ(parts("a::b::c"), "0a|:b::c");
    EXPECT_EQ(parts(right + 1), "0b|:c"); // its own results can be taken apart
    EXPECT_EQ(parts(nullptr), "-1|");
    const std::string a(2048, 'a');
    EXPECT_EQ(parts((a + "::" + a).c_str()), "0" + a.substr(1025) + "|:" + a.substr(1026));
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
TEST(PlainFormat, WritesWhatTheHostWrites)
{
    // The text and what follows it in the buffer, as both formatters leave them.
    const auto check = [](bool is_taken, const char *format, ...) {
        for (const std::size_t size : {1U, 2U, 6U, 7U, 8U, 30U}) {
            std::array<char, 30> ours{}, hosts{};
            va_list args, again;
            va_start(args, format);
            va_copy(again, args);
            EXPECT_EQ(format_plain(ours.data(), size, format, args), is_taken) << format;
            if (is_taken)
                (void)std::vsnprintf(hosts.data(), size, format, again);
            EXPECT_EQ(ours, hosts) << format << " in " << size;
            va_end(again);
            va_end(args);
        }
    };
    check(true, "");
    check(true, "%s%%s%d", "a%dbc", INT_MIN);
    check(true, "%d of %d, %s", -1, 20, static_cast<const char *>(nullptr));
    for (const char *other : {"%", "%d%", "%5d", "%.3s", "%ld", "%m", "%u", "%s%n"})
        check(false, other, "x");
}
#pragma GCC diagnostic pop

TEST(Wildcard, EndsAndTakesNothing)
{
    EXPECT_EQ(wmatch("*", nullptr), 1);
    EXPECT_EQ(wmatch(nullptr, "x"), 0);
    EXPECT_EQ(wtmatch(nullptr, "x"), 0);
    EXPECT_EQ(wtmatch("x\ty* y", "y"), 3); // the last that fits
    // Does not come to an end when each star retries every position.
    std::string pattern;
    for (int i = 0; i < 50; ++i)
        pattern += "*a";
    EXPECT_EQ(wmatch((pattern + "*b").c_str(), std::string(5000, 'a').c_str()), 0);
}

TEST(HeapText, IsCopiedGrownAndReplaced)
{
    const heap_text bytes(bncat(bncat(nullptr, 0, "abc", 3), 3, "\0d", 2));
    EXPECT_EQ(std::string_view(bytes.get(), 5), std::string_view("abc\0d", 5));
    bytes.get()[5] = '\0'; // the promised room, checked by the sanitizer
    const heap_text copy(strsave("abc", 5));
    EXPECT_EQ(std::string_view(copy.get(), 6), std::string_view("abc\0\0\0", 6));
    EXPECT_STREQ(heap_text(stradd(heap_copy("ab"), "cdef", 3)).get(), "abcde");
    char text[32] = "abXYZ";
    EXPECT_EQ(repstr(text, 2, "12345", 4) - text, 4);
    EXPECT_STREQ(text, "1234XYZ");
    EXPECT_EQ(repstr(text, 99, nullptr, 3) - text, 0);
    EXPECT_STREQ(text, "");
}

TEST(StringList, KeepsOrderAndOwners)
{
    static std::string released;
    released.clear();
    char first[] = "first"; // not the list's own
    int length = 3;
    char **list = addptrlist(addptrlist(nullptr, first, nullptr), nullptr, nullptr);
    list = addstrlist(addstrlist(list, "abcdef", &length), "abc", nullptr);
    EXPECT_EQ(length, 2) << "null ends a list and is no entry";
    freestrlist(list, [](void *entry) {
        released += std::string(static_cast<const char *>(entry)) + "|";
        if (released != "first|")
            std::free(entry);
    });
    EXPECT_EQ(released, "first|abc||");
}
