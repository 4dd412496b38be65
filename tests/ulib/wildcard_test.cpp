#include "lib/ulib/wildcard.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

// The definition, tried out without regard to time.
static bool matches_by_trial(const char *pattern, const char *text)
{
    for (; *pattern != '*'; ++pattern, ++text) {
        if (*pattern == '\0')
            return *text == '\0';
        if (*pattern != *text)
            return false;
    }
    while (*pattern == '*')
        ++pattern;
    if (*pattern == '\0')
        return true;
    for (; *text != '\0'; ++text)
        if (matches_by_trial(pattern, text))
            return true;
    return false;
}

static std::vector<std::string> words_up_to(std::size_t length, std::string_view alphabet)
{
    std::vector<std::string> words{""};
    for (std::size_t begin = 0; words[begin].size() < length; ++begin)
        for (const char c : alphabet)
            words.push_back(words[begin] + c);
    return words;
}

TEST(Wmatch, AgreesWithItsDefinitionOnAllShortTexts)
{
    const auto texts = words_up_to(6, "ab");
    for (const std::string &pattern : words_up_to(6, "ab*"))
        for (const std::string &text : texts)
            ASSERT_EQ(wmatch(pattern.c_str(), text.c_str()),
                      matches_by_trial(pattern.c_str(), text.c_str()))
                << "pattern " << pattern << " text " << text;
}

TEST(Wmatch, Cases)
{
    static const struct {
        const char *label, *pattern, *text;
        int want;
    } cases[] = {
        {"star and nothing", "*", "", 1},
        {"both empty", "", "", 1},
        {"empty pattern", "", "x", 0},
        {"two stars", "**a", "xa", 1},
        {"a retry", "*a*b", "axxb", 1},
        {"the text ends at a star", "a*b", "a", 0},
        {"empty run at the end", "a*", "a", 1},
        {"case counts", "A*", "ab", 0},
        {"question mark is plain", "a?c", "abc", 0},
        {"question mark itself", "a?c", "a?c", 1},
        {"star in the text", "a*", "a*b", 1},
        {"bytes above 127", "\xe4*", "\xe4\xf6", 1},
        {"null pattern", nullptr, "x", 0},
        {"null text", "*", nullptr, 1},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(wmatch(row.pattern, row.text), row.want);
    }
}

// Does not come to an end when each star tries every position anew.
TEST(Wmatch, AnswersForManyStars)
{
    std::string pattern;
    for (int i = 0; i < 50; ++i)
        pattern += "*a";
    pattern += "*b";
    EXPECT_EQ(wmatch(pattern.c_str(), std::string(5000, 'a').c_str()), 0);
    EXPECT_EQ(wmatch(pattern.c_str(), (std::string(5000, 'a') + "b").c_str()), 1);
}

TEST(Wtmatch, GivesTheLastPatternThatMatches)
{
    static const struct {
        const char *label, *patterns, *text;
        int want;
    } cases[] = {
        {"the later one", "a* ab", "ab", 2},
        {"only the first", "a* b*", "ab", 1},
        {"none", "x y", "ab", 0},
        {"tabs and runs", "\tx\t ab  y", "ab", 2},
        {"empty list", "", "ab", 0},
        {"null list", nullptr, "ab", 0},
        {"trailing blank and a text", "ab ", "ab", 1},
        {"trailing blank and no text", "* ", "", 2},
        {"null text", "x *", nullptr, 2},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(wtmatch(row.patterns, row.text), row.want);
    }
}
