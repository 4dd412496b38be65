#include "lib/fwall/nama.h"

#include "tests/fwall/report_log.h"

#include <gtest/gtest.h>
#include <random>

TEST(Namatch, MatchesTheWholeText)
{
    static const struct {
        const char *pattern, *text;
        int want;
    } cases[] = {
        {"", "", 1},         {"", "a", 0},          {"a", "", 0},     {"*", "", 1},
        {"***", "", 1},      {"*a", "", 0},         {"a*", "a", 1},   {"a*", "ab", 1},
        {"*a", "ba", 1},     {"*a", "ab", 0},       {"A", "a", 0},    {"a*b*c", "a1b2c", 1},
        {"a*b*c", "acb", 0}, {"[a]", "[a]", 1},     {"[a]", "a", 0},  {"?", "a", 0},
        {"*ab*", "aab", 1},  {"*.lan", "x.lan", 1}, {nullptr, "", 1}, {"*", nullptr, 1},
    };
    for (const auto &row : cases)
        EXPECT_EQ(namatch(row.pattern, row.text), row.want)
            << (row.pattern == nullptr ? "null" : row.pattern) << " with "
            << (row.text == nullptr ? "null" : row.text);
}

TEST(Nacasematch, KnowsSets)
{
    static const struct {
        const char *pattern, *text;
        int want;
        std::vector<told> reports;
    } cases[] = {
        {"aB", "Ab", 1, {}},
        {"[A-C]x", "bX", 1, {}},
        {"[^a]", "A", 0, {}},
        {"[^a]", "b", 1, {}},
        {"[]a]", "]", 1, {}},
        {"[^]a]", "]", 0, {}},
        {"[^]a]", "x", 1, {}},
        {"[ab]", "", 0, {}},
        {"*[0-9]", "ab7", 1, {}},
        {"*[0-9]*z", "a7b8yz", 1, {}},
        {"x[a-c]*", "xb", 1, {}},
        {"[\x80-\xff]", "\xe4", 1, {}},
        {"[a-]", "a", 0, {}},
        {"[ba-]", "B", 1, {}},
        {"a]", "A]", 1, {}},
        {"?", "a", 0, {}},
        {"[z-a]", "q", 0, {{11502, 0, "bad pattern [z-a]"}}},
        {"[z-a]", "q-A]", 1, {{11502, 0, "bad pattern [z-a]"}}},
        {"*[z-a]", "a-a]q-a]", 1, {{11502, 0, "bad pattern [z-a]"}}}, // tried at each place
        {"[ab", "xb", 1, {{11502, 0, "bad pattern [ab"}}},
        {"[", "x", 1, {{11502, 0, "bad pattern ["}}},
        {"[", "", 0, {}},
        {"[a-", "x-", 1, {{11502, 0, "bad pattern [a-"}}},
        {nullptr, nullptr, 1, {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.pattern == nullptr ? "null" : row.pattern);
        const report_log log;
        EXPECT_EQ(nacasematch(row.pattern, row.text), row.want);
        EXPECT_EQ(report_log::reports, row.reports);
    }
}

TEST(SetMatch, TellsWhereTheSetEnds)
{
    static const struct {
        const char *set;
        char c;
        bool no_case;
        int end; // position, -1 for null
        std::size_t reports;
    } cases[] = {
        {"abc]d]", 'b', false, 3, 0}, {"abc]", 'B', false, -1, 0}, {"abc]", 'B', true, 3, 0},
        {"A-C]", 'b', false, -1, 0},  {"A-C]", 'b', true, 3, 0},   {"^a]", 'b', false, 2, 0},
        {"^a]", 'a', false, -1, 0},   {"]", ']', false, 0, 1},     {"]]", ']', false, 1, 0},
        {"a-b-c]", '-', false, 5, 0}, {"-a]", '-', false, 2, 0},   {"+--]", ',', false, 3, 0},
        {"^z-a]", 'x', false, 0, 1},  {"", 'x', false, 0, 1},      {"^", 'x', false, 0, 1},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(std::string(row.set) + " with " + row.c);
        const report_log log;
        const char *end = set_match(row.set, row.c, row.no_case);
        EXPECT_EQ(end == nullptr ? -1 : end - row.set, row.end);
        EXPECT_EQ(report_log::reports.size(), row.reports);
    }
}

// The matchers as recursions that try every run of every star.
static int plain_namatch(const char *pattern, const char *text)
{
    if (*pattern != '*')
        return *pattern == '\0'    ? *text == '\0'
               : *pattern == *text ? plain_namatch(pattern + 1, text + 1)
                                   : 0;
    for (;; ++text) {
        if (plain_namatch(pattern + 1, text) != 0)
            return 1;
        if (*text == '\0')
            return 0;
    }
}

static int plain_nacasematch(const char *pattern, const char *text)
{
    if (*pattern == '\0')
        return *text == '\0';
    if (*pattern == '*')
        return plain_nacasematch(pattern + 1, text) != 0 ||
               (*text != '\0' && plain_nacasematch(pattern, text + 1) != 0);
    if (*text == '\0')
        return 0;
    if (*pattern != '[')
        return std::tolower(*pattern) == std::tolower(*text) &&
               plain_nacasematch(pattern + 1, text + 1) != 0;
    const char *end = set_match(pattern + 1, *text, true);
    if (end == nullptr)
        return 0;
    return plain_nacasematch(*end == '\0' ? end : end + 1, text + 1);
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
    for (int round = 0; round < 200000; ++round) {
        const std::string plain = random_text(random, "ab*", 8);
        const std::string sets = random_text(random, "aB*[]^-", 9);
        const std::string text = random_text(random, "ab]-", 8);
        const int want = plain_namatch(plain.c_str(), text.c_str());
        const int want_sets = plain_nacasematch(sets.c_str(), text.c_str());
        ASSERT_EQ(namatch(plain.c_str(), text.c_str()), want) << plain << " with " << text;
        ASSERT_EQ(nacasematch(sets.c_str(), text.c_str()), want_sets) << sets << " with " << text;
        matches += want + want_sets;
        report_log::reports.clear();
    }
    EXPECT_GT(matches, 10000); // else the comparison says little
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
    EXPECT_EQ(namatch((pattern + "*").c_str(), text.c_str()), 1);
    EXPECT_EQ(nacasematch((sets + "*").c_str(), text.c_str()), 1);
}

// Each of these sets has the rest of the pattern in it.
TEST(Nacasematch, ReadsAndReportsABadSetOnce)
{
    const report_log log;
    const std::string sets(4000, '['), text(8000, 'a');
    EXPECT_EQ(nacasematch(("*" + sets + "x").c_str(), text.c_str()), 0);
    EXPECT_EQ(report_log::reports.size(), 2000);
}
