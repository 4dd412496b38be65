#include "lib/fwall/hnam.h"

#include "tests/fwall/report_log.h"
#include "tests/fwall/scripted_names.h"

#include <gtest/gtest.h>

using questions = std::vector<std::string>;

static const std::string LONG_TEXT(512, 'x');
static const std::string FULL_TEXT(511, 'x');

TEST(Hostmatch, TellsKindsOfPatternsApart)
{
    static const struct {
        const char *label;
        std::string pattern, host;
        int want;
        questions asked;
        std::vector<told> reports;
    } cases[] = {
        {"star", "*", std::string(1000, 'n'), 1, {}, {}},
        {"name", "*.Office.LAN", "mail.office.lan", 1, {}, {}},
        {"name, host in capitals", "*.office.lan", "MAIL.Office.Lan", 1, {}, {}},
        {"name, other host", "*.office.lan", "mail.home.lan", 0, {}, {}},
        {"name with a dash", "a-b.office", "a-b.office", 1, {}, {}},
        {"name pattern with an address", "10.a*", "10.1.1.1", 0, {}, {}},
        {"sets are no sets", "[a]", "a", 0, {}, {}},
        {"address", "10.1.2.3", "10.1.2.3", 1, {}, {}},
        {"address by text", "10.1*", "10.17.0.1", 1, {}, {}},
        {"range", "10.0.0.5-10.0.0.9", "10.0.0.7", 1, {}, {}},
        {"empty pattern", "", "10.0.0.7", 1, {}, {}},
        {"only the pattern of one star is all", "**", "10.0.0.7", 1, {}, {}},
        {"host known", "10.*", "mail", 1, {"name mail"}, {}},
        {"asked in lower case", "10.*", "MAIL", 1, {"name mail"}, {}},
        {"first address alone", "10.*", "two", 0, {"name two"}, {}},
        {"first address alone, there", "20.*", "two", 1, {"name two"}, {}},
        {"host unknown", "10.*", "nobody", 0, {"name nobody"}, {}},
        {"host unknown, empty pattern", "", "nobody", 0, {"name nobody"}, {}},
        {"no address", "", "none", 0, {"name none"}, {}},
        {"wrong length",
         "10.*",
         "wide",
         0,
         {"name wide"},
         {{10504, 0, "securityalert: invalid host address length (16) hostname wide"}}},
        {"pattern full", FULL_TEXT, FULL_TEXT, 1, {}, {}},
        {"pattern too long",
         LONG_TEXT,
         LONG_TEXT,
         0,
         {},
         {{11502, 0, "cfgerr: pattern " + LONG_TEXT + " too long!"}}},
        {"name too long",
         "x*",
         LONG_TEXT,
         0,
         {},
         {{11502, 0, "cfgerr: name " + LONG_TEXT + " too long!"}}},
        {"mask",
         "10.1.0.0:255.0.0.0",
         "10.1.1.1",
         0,
         {},
         {{11502, 0, "cfgerr: pat:mask can never match anything, 10.1.0.0:255.0.0.0"}}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const report_log log;
        scripted_names names;
        names.hosts = {{"mail", {{"10.0.0.1"}}},
                       {"two", {{"20.0.0.1", "10.0.0.1"}}},
                       {"none", {}},
                       {"wide", {{"10.0.0.1"}, 16}}};
        EXPECT_EQ(hostmatch(row.pattern.c_str(), row.host.c_str()), row.want);
        EXPECT_EQ(names.asked, row.asked);
        EXPECT_EQ(report_log::reports, row.reports);
    }
    EXPECT_EQ(hostmatch(nullptr, "a"), 0);
    EXPECT_EQ(hostmatch("*", nullptr), 0);
}

TEST(IpMatch, ComparesOctetsMasksAndRanges)
{
    static const struct {
        const char *pattern, *address;
        int want;
        std::size_t reports = 0;
    } cases[] = {
        {"10.1", "10.1.200.3", 1},
        {"10.1", "10.17.0.1", 0},
        {"10.1.", "10.1.200.3", 1},
        {"10.1.*", "10.1.200.3", 1},
        {"10.1.2.3.4", "10.1.2.3", 1},
        {"", "1.2.3.4", 1},
        {"10..3", "10.0.3.1", 1},
        {"266.1", "10.1.0.0", 1},
        {"10.1", "10", 1},
        {"10.1", "11", 0},
        {"10.0.0.0:255.0.0.0", "10.9.8.7", 1},
        {"10.0.0.0:255.0.0.0", "11.0.0.1", 0},
        {"10.0.0.0:255", "10.0.0.0", 1},
        {"10.0.0.0:255", "10.0.0.1", 0},
        {"10:255.255", "10.0.9.9", 1},
        {"10:255.255", "10.1.9.9", 0},
        {"10.1.2.128:255.255.255.128", "10.1.2.200", 1},
        {"10.1.2.128:255.255.255.128", "10.1.2.127", 0},
        {":", "1.2.3.4", 1},
        {"0.0.0.0:0.0.0.0", "1.2.3.4", 1},
        {"10.1.0.0:255.0.0.0", "10.1.0.0", 0, 1},
        {"1.2.3.4:0.0.0.0.5", "1.2.3.4", 0, 1},
        {"10.0.0.5-10.0.0.9", "10.0.0.5", 1},
        {"10.0.0.5-10.0.0.9", "10.0.0.9", 1},
        {"10.0.0.5-10.0.0.9", "10.0.0.4", 0},
        {"10.0.0.5-10.0.0.9", "10.0.0.10", 0},
        {"200.0.0.1-200.0.0.3", "200.0.0.2", 1},
        {"1.0.0.0-255.255.255.255", "200.0.0.2", 1},
        {"10.0.0.9-10.0.0.5", "10.0.0.7", 0},
        {"0-0xffffffff", "1.2.3.4", 1},
        {"-", "1.2.3.4", 0},
        {"-10.0.0.9", "0.0.0.0", 0},
        {"10.0.0.5-", "10.0.0.5", 0},
        {"10.0.0.5-10.0.0.9-10.0.0.11", "10.0.0.7", 0},
        {"10.0.0.*-10.0.0.9", "10.0.0.7", 0},
        {"0000010.0.0.0000-255.255.255.255", "9.0.0.0", 1},  // 16 characters
        {"00000010.0.0.0000-255.255.255.255", "9.0.0.0", 0}, // 17
        {"1.0.0.0-255.255.255.255", "", 0},
        {"1.0.0.0-255.255.255.255", "1.2.3.4.5", 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(std::string(row.pattern) + " with " + row.address);
        const report_log log;
        EXPECT_EQ(ip_match(row.pattern, row.address), row.want);
        EXPECT_EQ(report_log::reports.size(), row.reports);
    }
    EXPECT_EQ(range_hostmatch("10.0.0.5", "10.0.0.5"), 0);
}

TEST(Hostmatch, KeepsTheLastAnswer)
{
    scripted_names names;
    names.hosts = {{"mail", {{"10.0.0.1"}}}};
    EXPECT_EQ(hostmatch("10.*", "mail"), 1);
    ASSERT_NE(proxy_hostent, nullptr);
    EXPECT_EQ(proxy_hostent->h_length, 4);
    EXPECT_EQ(hostmatch("10.*", "nobody"), 0);
    EXPECT_EQ(proxy_hostent, nullptr);
}
