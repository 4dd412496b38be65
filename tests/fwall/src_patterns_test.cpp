#include "lib/fwall/src_patterns.h"

#include "lib/fwall/srcchk.h"
#include "tests/fwall/proxy_setup.h"

#include <random>

static std::string random_of(std::mt19937 &random, const std::vector<const char *> &pieces)
{
    std::string text;
    for (auto count = 1 + random() % 8; count > 0; --count)
        text += pieces[random() % pieces.size()];
    return text;
}

// Random patterns, many of them malformed, against addresses and names close to them.
TEST(SrcPatterns, GiveTheAnswersOfAWalkWithoutThem)
{
    const std::vector<const char *> numeric = {
        "1",   "10", ".", ".", ".", ".*",   "*",        "255",
        "256", "01", "0", "-", ":", "1.10", "10.1.1.0", ":255.255.255.0"};
    const std::vector<const char *> letters = {"a", "B", "*", ".", "*.", "ab", "-", "1"};
    const std::vector<const char *> octet = {"1.", "10.", "0.", "255."};
    std::mt19937 random(2);
    proxy_setup setup("k 1");
    cfgrec *own = proxy_confp;
    const sockaddr_in local{};
    int fits = 0;
    for (int round = 0; round < 50000; ++round) {
        std::string pattern = random_of(random, round % 2 == 0 ? numeric : letters);
        std::string address;
        for (int i = 0; i < 4; ++i)
            address += octet[random() % 4];
        address.pop_back();
        set_text(proxy_riaddr, address);
        setup.names.names = {{address, random_of(random, {"a", "b", ".", "ab", "-", "1"})}};
        char *argv[] = {pattern.data(), nullptr};
        proxy_confp = cfg_make("hosts", 0, 1, 1, argv);
        const int want = permit_src_sub(&local);
        prepare_src_patterns(proxy_confp);
        ASSERT_NE(proxy_confp->patterns, nullptr);
        ASSERT_EQ(permit_src_sub(&local), want)
            << pattern << " with " << address << " or " << setup.names.names[address];
        fits += want == SRC_PERMITTED ? 1 : 0;
        cfg_free(proxy_confp);
        setup.names.asked.clear();
        report_log::reports.clear();
    }
    proxy_confp = own;
    EXPECT_GT(fits, 2500); // else the comparison says little
}

// What makes a table large must not be read at each check.
TEST(SrcPatterns, DecideTheUsualForms)
{
    for (const char *pattern :
         {"*", "10.*", "10.1.*", "10.1.2.*", "10.1.2.3", "10", "10.1", "10.1.2.0:255.255.255.0",
          "10.1.2.3-10.1.2.9", "*.Office.lan", "mail.office.lan", "m*.office.*"}) {
        const proxy_setup setup("hosts " + std::string(pattern), true);
        int at = 0;
        const auto found = src_next_candidate(proxy_confp->patterns, 0x0A010203, at);
        EXPECT_NE(found.answer, src_answer::ask) << pattern;
    }
}
