#include "lib/fwall/hnam.h"

#include "tests/fwall/report_log.h"
#include "tests/fwall/scripted_names.h"

#include <gtest/gtest.h>

static const std::string LONG_TEXT(512, 'x');
static const std::string FULL_TEXT(511, 'x');

TEST(Hostmatch, TellsKindsOfPatternsApart)
{
    static const struct {
        std::string pattern, host;
        int want;
        std::string asked_and_told = "";
    } cases[] = {
        {"*", std::string(1000, 'n'), 1},
        {"*.Office.lan", "MAIL.office.LAN", 1},
        {"*.office.lan", "mail.home.lan", 0},
        {"a-b.office", "a-b.office", 1},
        {"10.a*", "10.1.1.1", 0},
        {"[a]", "a", 0},
        {"10.1*", "10.17.0.1", 1},
        {"10.0.0.5-10.0.0.9", "10.0.0.7", 1},
        {"", "10.0.0.7", 1},
        {"**", "10.0.0.7", 1},
        {"10.*", "MAIL", 1, "name mail\n"},
        {"10.*", "two", 0, "name two\n"}, // the first address alone
        {"20.*", "two", 1, "name two\n"},
        {"10.*", "nobody", 0, "name nobody\n"},
        {"", "nobody", 0, "name nobody\n"},
        {"", "none", 0, "name none\n"},
        {"10.*", "wide", 0,
         "name wide\n10504/0 securityalert: invalid host address length (16) hostname wide\n"},
        {FULL_TEXT, FULL_TEXT, 1},
        {LONG_TEXT, LONG_TEXT, 0, "11502/0 cfgerr: pattern " + LONG_TEXT + " too long!\n"},
        {"x*", LONG_TEXT, 0, "11502/0 cfgerr: name " + LONG_TEXT + " too long!\n"},
        {"10.1.0.0:255.0.0.0", "10.1.1.1", 0,
         "11502/0 cfgerr: pat:mask can never match anything, 10.1.0.0:255.0.0.0\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.pattern + " with " + row.host);
        const report_log log;
        scripted_names names;
        names.hosts = {{"mail", {{"10.0.0.1"}}},
                       {"two", {{"20.0.0.1", "10.0.0.1"}}},
                       {"none", {}},
                       {"wide", {{"10.0.0.1"}, 16}}};
        EXPECT_EQ(hostmatch(row.pattern.c_str(), row.host.c_str()), row.want);
        EXPECT_EQ(names.lines() + report_log::lines(), row.asked_and_told);
        if (row.asked_and_told.starts_with("name")) {
            EXPECT_EQ(proxy_hostent == nullptr, row.host == "nobody"); // the answer is kept
        }
    }
    EXPECT_EQ(hostmatch(nullptr, "a"), 0);
    EXPECT_EQ(hostmatch("*", nullptr), 0);
}

TEST(IpMatch, ComparesOctetsMasksAndRanges)
{
    static const struct {
        const char *pattern;
        std::vector<const char *> fit, others;
        std::size_t reports = 0;
    } cases[] = {
        {"10.1", {"10.1.200.3", "10"}, {"10.17.0.1", "11"}},
        {"10.1.", {"10.1.200.3"}, {"10.17.0.1"}},
        {"10.1.*", {"10.1.200.3"}, {"10.17.0.1"}},
        {"10.1.2.3.4", {"10.1.2.3"}, {}},
        {"", {"1.2.3.4"}, {}},
        {"10..3", {"10.0.3.1"}, {}},
        {"266.1", {"10.1.0.0"}, {}}, // modulo 256
        {"10.0.0.0:255.0.0.0", {"10.9.8.7"}, {"11.0.0.1"}},
        {"10.0.0.0:255", {"10.0.0.0"}, {"10.0.0.1"}},
        {"10:255.255", {"10.0.9.9"}, {"10.1.9.9"}},
        {"10.1.2.128:255.255.255.128", {"10.1.2.200"}, {"10.1.2.127"}},
        {":", {"1.2.3.4"}, {}},
        {"10.1.0.0:255.0.0.0", {}, {"10.1.0.0"}, 1},
        {"1.2.3.4:0.0.0.0.5", {}, {"1.2.3.4"}, 1},
        {"10.0.0.5-10.0.0.9", {"10.0.0.5", "10.0.0.9"}, {"10.0.0.4", "10.0.0.10"}},
        {"1.0.0.0-255.255.255.255", {"200.0.0.2"}, {"", "1.2.3.4.5"}},
        {"10.0.0.9-10.0.0.5", {}, {"10.0.0.7"}},
        {"-", {}, {"1.2.3.4"}},
        {"-10.0.0.9", {}, {"0.0.0.0"}},
        {"10.0.0.5-", {}, {"10.0.0.5"}},
        {"10.0.0.5-10.0.0.9-10.0.0.11", {}, {"10.0.0.7"}},
        {"10.0.0.*-10.0.0.9", {}, {"10.0.0.7"}},
        {"0000010.0.0.0000-255.255.255.255", {"9.0.0.0"}, {}},  // 16 characters
        {"00000010.0.0.0000-255.255.255.255", {}, {"9.0.0.0"}}, // 17
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.pattern);
        const report_log log;
        for (const char *address : row.fit)
            EXPECT_EQ(ip_match(row.pattern, address), 1) << address;
        for (const char *address : row.others)
            EXPECT_EQ(ip_match(row.pattern, address), 0) << address;
        EXPECT_EQ(report_log::reports.size(), row.reports);
    }
    EXPECT_EQ(range_hostmatch("10.0.0.5", "10.0.0.5"), 0);
}
