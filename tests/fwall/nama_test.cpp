#include "lib/fwall/nama.h"

#include "tests/fwall/report_log.h"

#include <cctype>
#include <gtest/gtest.h>
#include <random>

// The matchers as recursions that try every run of every star.
static bool plain_match(const char *pattern, const char *text, bool sets)
{
    if (*pattern == '\0')
        return *text == '\0';
    if (*pattern == '*')
        return plain_match(pattern + 1, text, sets) ||
               (*text != '\0' && plain_match(pattern, text + 1, sets));
    if (*text == '\0')
        return false;
    if (!sets || *pattern != '[')
        return (sets ? std::tolower(*pattern) == std::tolower(*text) : *pattern == *text) &&
               plain_match(pattern + 1, text + 1, sets);
    const char *end = set_match(pattern + 1, *text, true);
    return end != nullptr && plain_match(*end == '\0' ? end : end + 1, text + 1, sets);
}

static std::string random_text(std::mt19937 &random, std::string_view letters, unsigned longest)
{
    std::string text(random() % (longest + 1), ' ');
    for (char &c : text)
        c = letters[random() % letters.size()];
    return text;
}

TEST(Namatch, EqualsAPlainRecursion)
{
    const report_log log;
    std::mt19937 random(1);
    int matches = 0;
    for (int round = 0; round < 100000; ++round) {
        const std::string plain = random_text(random, "abA*", 8);
        const std::string sets = random_text(random, "aB*[]^-", 9);
        const std::string text = random_text(random, "ab]-", 8);
        const bool want = plain_match(plain.c_str(), text.c_str(), false);
        const bool want_sets = plain_match(sets.c_str(), text.c_str(), true);
        ASSERT_EQ(namatch(plain.c_str(), text.c_str()), want) << plain << " with " << text;
        ASSERT_EQ(nacasematch(sets.c_str(), text.c_str()), want_sets) << sets << " with " << text;
        matches += (want ? 1 : 0) + (want_sets ? 1 : 0);
        report_log::reports.clear();
    }
    EXPECT_GT(matches, 5000); // else the comparison says little
    EXPECT_EQ(namatch(nullptr, ""), 1);
    EXPECT_EQ(namatch("*", nullptr), 1);
    EXPECT_EQ(nacasematch(nullptr, nullptr), 1);
}

TEST(SetMatch, TellsWhereTheSetEnds)
{
    static const struct {
        const char *set;
        char c;
        bool no_case;
        int end; // position, -1 for null
        const char *report = "";
    } cases[] = {
        {"abc]d]", 'b', false, 3},
        {"abc]", 'B', false, -1},
        {"abc]", 'B', true, 3},
        {"A-C]", 'b', false, -1},
        {"A-C]", 'b', true, 3},
        {"\x80-\xff]", '\xe4', true, 3},
        {"^a]", 'b', false, 2},
        {"^a]", 'A', true, -1},
        {"]]", ']', false, 1},
        {"^]a]", ']', false, -1},
        {"a-b-c]", '-', false, 5},
        {"-a]", '-', false, 2},
        {"ba-]", 'b', false, 3},
        {"ba-]", 'a', false, -1},
        {"+--]", ',', false, 3},
        {"]", ']', false, 0, "11502/0 bad pattern []\n"},
        {"^z-a]", 'x', false, 0, "11502/0 bad pattern [^z-a]\n"},
        {"a-", 'x', false, 0, "11502/0 bad pattern [a-\n"},
        {"", 'x', false, 0, "11502/0 bad pattern [\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(std::string(row.set) + " with " + row.c);
        const report_log log;
        const char *end = set_match(row.set, row.c, row.no_case);
        EXPECT_EQ(end == nullptr ? -1 : end - row.set, row.end);
        EXPECT_EQ(report_log::lines(), row.report);
    }
}

TEST(Namatch, EndsSoonWithManyStars)
{
    std::string pattern, sets;
    for (int i = 0; i < 100; ++i) {
        pattern += "*a";
        sets += "*[a-b]";
    }
    const std::string text(500, 'a');
    EXPECT_EQ(namatch((pattern + "c").c_str(), text.c_str()), 0);
    EXPECT_EQ(nacasematch((sets + "c").c_str(), text.c_str()), 0);
}

// Each of these sets has the rest of the pattern in it.
TEST(Nacasematch, ReadsAndReportsABadSetOnce)
{
    const report_log log;
    const std::string sets(4000, '['), text(8000, 'a');
    EXPECT_EQ(nacasematch(("*" + sets + "x").c_str(), text.c_str()), 0);
    EXPECT_EQ(report_log::reports.size(), 2000);
}
