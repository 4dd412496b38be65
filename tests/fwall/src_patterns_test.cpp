#include "lib/fwall/src_patterns.h"

#include "lib/fwall/hnam.h"
#include "tests/fwall/proxy_setup.h"

#include <gtest/gtest.h>
#include <random>

// Whether a record's one pattern fits, as the walk uses the answers; hostmatch when it asks.
static int prepared_match(const cfgrec &record, const char *address, const char *name, bool &asked)
{
    int at = 0;
    switch (src_next_candidate(record.patterns, host_order(inet_addr(address)), at).answer) {
    case src_answer::yes:
        return 1;
    case src_answer::ask_name:
        return src_name_fits(record.patterns, at, name) ? 1 : 0;
    case src_answer::ask:
        asked = true;
        return hostmatch(record.argv[0], address);
    default:
        return 0;
    }
}

static bool is_name(std::string_view pattern)
{
    return pattern.find_first_not_of(".*0123456789:-") != std::string_view::npos;
}

static std::string random_of(std::mt19937 &random, const std::vector<const char *> &pieces,
                             unsigned most)
{
    std::string text;
    for (unsigned count = 1 + static_cast<unsigned>(random() % most); count > 0; --count)
        text += pieces[random() % pieces.size()];
    return text;
}

// Random patterns, many of them malformed, against addresses and names close to them.
TEST(SrcPatterns, EqualHostmatch)
{
    const std::vector<const char *> numeric = {
        "1",   "10", ".", ".", ".", ".*",   "*",        "255",
        "256", "01", "0", "-", ":", "1.10", "10.1.1.0", ":255.255.255.0"};
    const std::vector<const char *> names = {"a", "B", "*", ".", "*.", "ab", "-", "1"};
    const std::vector<const char *> octet = {"1", "10", "0", "255"};
    std::mt19937 random(2);
    const proxy_setup setup("n: k 1\n");
    int fits = 0, decided = 0;
    for (int round = 0; round < 100000; ++round) {
        std::string pattern = random_of(random, round % 2 == 0 ? numeric : names, 8);
        if (pattern[0] == '-')
            continue; // an option
        const std::string name = random_of(random, {"a", "b", ".", "ab", "-", "1"}, 8);
        const std::string address = std::string(octet[random() % 4]) + '.' + octet[random() % 4] +
                                    '.' + octet[random() % 4] + '.' + octet[random() % 4];
        char *argv[] = {pattern.data(), nullptr};
        cfgrec *record = cfg_make("hosts", 0, 1, 1, argv);
        prepare_src_patterns(record);
        ASSERT_NE(record->patterns, nullptr);
        const int want =
            hostmatch(pattern.c_str(), is_name(pattern) ? name.c_str() : address.c_str());
        bool asked = false;
        ASSERT_EQ(prepared_match(*record, address.c_str(), name.c_str(), asked), want)
            << pattern << " with " << address << " or " << name;
        fits += want;
        decided += asked ? 0 : 1;
        cfg_free(record);
        report_log::reports.clear();
    }
    EXPECT_GT(fits, 5000); // else the comparison says little
    EXPECT_GT(decided, 20000);
}

// What makes a table large must not be read at each check.
TEST(SrcPatterns, DecideTheUsualForms)
{
    for (const char *pattern :
         {"*", "10.*", "10.1.*", "10.1.2.*", "10.1.2.3", "10", "10.1", "10.1.2.0:255.255.255.0",
          "10.1.2.3-10.1.2.9", "*.Office.lan", "mail.office.lan", "m*.office.*"}) {
        SCOPED_TRACE(pattern);
        const proxy_setup setup("n: hosts " + std::string(pattern) + "\n", true);
        int at = 0;
        EXPECT_NE(src_next_candidate(proxy_confp->patterns, 0x0A010203, at).answer,
                  src_answer::ask);
    }
}

// One row a candidate: line, argument and answer.
TEST(SrcPatterns, StandForThePatternsOfARun)
{
    const proxy_setup setup("n: hosts 11.* ~a 10.1.* -x 10.*\n"
                            "n: hosts -x *\n"
                            "n: hosts *.lan 10.1.2.3\n"
                            "n: rev_dns 1\n"
                            "n: hosts 10.*\n",
                            true);
    const char *const answers[] = {"no", "yes", "identity", "name", "ask"};
    std::string got;
    for (cfgrec *entry = proxy_confp; entry != nullptr; entry = entry->next) {
        src_candidate found;
        for (int at = 0;
             entry->patterns != nullptr &&
             (found = src_next_candidate(entry->patterns, 0x0A010203, at)).entry != nullptr;)
            got += std::to_string(found.entry->lineno) + ' ' + std::to_string(found.argument) +
                   ' ' + answers[static_cast<int>(found.answer)] + '\n';
    }
    EXPECT_EQ(got, "1 1 identity\n1 2 yes\n3 0 name\n3 1 yes\n5 0 yes\n");
}
