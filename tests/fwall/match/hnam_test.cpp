// The matchers of names and addresses, and the readers of texts of one kind.
#include "lib/fwall/match/hnam.h"

#include "lib/fwall/match/alldi.h"
#include "lib/fwall/match/nama.h"
#include "lib/fwall/match/scan_address.h"
#include "lib/fwall/serve/mapg.h"
#include "lib/fwall/serve/mapu.h"
#include "lib/ulib/address.h"
#include "tests/ulib/report_log.h"
#include "tests/ulib/scripted_names.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(Hostmatch, FitsByTheKindOfThePattern)
{
    static const struct {
        const char *pattern;
        std::vector<const char *> fit, differ;
    } cases[] = {
        {"", {"", "10.1.2.3", "9"}, {}},
        {"10.1", {"10.1.200.3", "10.1", "10", "010.257.9.9", "10.1.2.3.4"}, {"10.17.0.1", "1.10"}},
        {"10.1.", {"10.1.200.3"}, {"10.2.0.1"}},
        {"10..2", {"10.0.2.9"}, {"10.1.2.9"}},
        {"1.2.3.4.5", {"1.2.3.4", "1.2.3.4.6"}, {"1.2.3.5"}},
        {"999.266", {"231.10.9.9"}, {"99.26.9.9"}},
        {"10.1.*",
         {"10.1.200.3", "10.1.", "10.1.2"},
         {"10.17.0.1", "10.1", "010.1.0.1", "11.1.0.1"}},
        {"10.1.2.*", {"10.1.2.3"}, {"10.1.20.3", "10.1.2"}},
        {"10.1*", {"10.17.0.1", "10.1"}, {"10.2.0.1"}},
        {"010.1.*", {"010.1.2.3"}, {"10.1.2.3", "8.1.2.3"}},
        {"1.2.3.4.*", {"1.2.3.4.5"}, {"1.2.3.4"}},
        {"*.1", {"10.2.3.1"}, {"10.2.1.3"}},
        {"1*.2*.*", {"10.2.3.4", "11.3.2.4"}, {"10.3.3.4"}},
        {"10.*:255", {}, {"10.1.2.3"}},
        {"10.0.0.0:255.0.0.0", {"10.9.8.7"}, {"11.0.0.1"}},
        {"10.9.8.0:255.255.248.0", {"10.9.15.7"}, {"10.9.16.7"}},
        {"10.0.3.0:255.0.255", {"10.9.3.0"}, {"10.9.4.0", "10.9.3.7"}},
        {"10.1.2.3:255", {"10.1.2.3"}, {"10.9.8.7", "10.1.2.4"}},
        {"10:255.255", {"10.0.9.9"}, {"10.1.9.9"}},
        {"0:0", {"10.1.2.3"}, {}},
        {":0.255", {"9.0.2.3"}, {"9.1.2.3"}},
        {"10.0.0.5-10.0.0.9",
         {"10.0.0.5", "10.0.0.9", "10.7"},
         {"10.0.0.4", "10.0.0.10", "10.0.0.7.1"}},
        {"200.0.0.1-200.0.0.3", {"200.0.0.2"}, {"100.0.0.2"}},
        {"0-4294967295", {"255.255.255.255", "0"}, {"4294967296"}},
        {"000000000000000012-10", {}, {"0.0.0.10"}}, // a side of 18 characters
        {"0000000000000012-16", {"0.0.0.10", "0.0.0.16"}, {"0.0.0.9", "0.0.0.17"}},
        {"10.0.0.9-10.0.0.5", {}, {"10.0.0.7"}},
        {"10.*-10.9", {}, {"10.0.0.7", "10.0.0.9"}},
        {"-10.0.0.9", {}, {"10.0.0.7"}},
        {"a-b.Office", {"A-B.office"}, {"a-b.offic", "a-b.officee"}},
        {"*.Office.LAN",
         {"mail.office.lan", ".office.lan"},
         {"office.lan", "mail.office.lan.", "10.1.2.3"}},
        {"m*.office.*", {"mail.office.lan", "m.office."}, {"mailoffice.lan", "mail.office"}},
        {"a*a", {"aa", "aba"}, {"a", "ab"}},
        {"*x*y*x*", {"xyx", "axbycx"}, {"xy", "xyy"}},
        {"10.x", {"10.x"}, {"10.1.2.3"}},
    };
    const scripted_names nothing_known;
    for (const auto &row : cases) {
        for (const char *host : row.fit)
            EXPECT_EQ(hostmatch(row.pattern, host), 1) << row.pattern << " with " << host;
        for (const char *host : row.differ)
            EXPECT_EQ(hostmatch(row.pattern, host), 0) << row.pattern << " with " << host;
    }
    // What only these take: other characters, and longer texts.
    EXPECT_EQ(maskmatch("10x.1y:255z.255", "10q.1.2.3") + maskmatch("a*", "ab"), 2);
    EXPECT_EQ(maskmatch("A*", "ab") + ip_match("10.1-", "10.1") + range_hostmatch("9", "9"), 0);
    EXPECT_EQ(range_hostmatch("0x9-011 x", "9"), 1);
}

TEST(Hostmatch, AsksAndTells)
{
    const std::string full(511, 'x'), longer(512, 'x');
    const struct {
        std::string pattern, host;
        int want;
        std::string asked_and_told = "";
    } cases[] = {
        {"*", std::string(1000, 'n'), 1},
        {"*.Office.lan", "MAIL.office.LAN", 1},
        {"10.*", "MAIL", 1, "name mail\n"},
        {"10.*", "two", 0, "name two\n"}, // the first address alone
        {"20.*", "two", 1, "name two\n"},
        {"", "none", 0, "name none\n"},
        {"10.*", "wide", 0,
         "name wide\n10504/0 securityalert: invalid host address length (16) hostname wide\n"},
        {full, full, 1},
        {longer, "x", 0, "11502/0 cfgerr: pattern " + longer + " too long!\n"},
        {"x*", longer, 0, "11502/0 cfgerr: name " + longer + " too long!\n"},
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
    }
    EXPECT_EQ(hostmatch(nullptr, "a"), 0);
    EXPECT_EQ(hostmatch("*", nullptr), 0);
    EXPECT_EQ(namatch(nullptr, "") + namatch("*", nullptr) + nacasematch(nullptr, nullptr), 3);
}

TEST(Namatch, EndsSoonWithManyStarsAndBadSets)
{
    const report_log log;
    std::string sets;
    for (int i = 0; i < 100; ++i)
        sets += "*[a-b]";
    EXPECT_EQ(nacasematch((sets + "c").c_str(), std::string(500, 'a').c_str()), 0);
    // Each of these sets has the rest of the pattern in it.
    EXPECT_EQ(
        nacasematch(("*" + std::string(4000, '[') + "x").c_str(), std::string(8000, 'a').c_str()),
        0);
    EXPECT_EQ(report_log::reports.size(), 2000);
}

TEST(Nacasematch, TakesSets)
{
    const report_log log;
    static const struct {
        const char *pattern, *text;
        int want;
    } cases[] = {
        {"[A-C]x", "bX", 1},  {"[^a]", "A", 0},     {"[^a]", "b", 1},      {"[]a]", "]", 1},
        {"[^]a]", "]", 0},    {"[]-a]", "_", 1},    {"[a-c]", "d", 0},     {"[a-cx]", "X", 1},
        {"[a-c]", "", 0},     {"*[0-9]", "ab7", 1}, {"*[0-9]", "ab", 0},   {"[ab", "xb", 1},
        {"[z-a]", "q-a]", 1}, {"a?", "ab", 0},      {"*.LAN", "x.lan", 1}, {"@", "`", 0},
    };
    for (const auto &row : cases)
        EXPECT_EQ(nacasematch(row.pattern, row.text), row.want) << row.pattern << ' ' << row.text;
}

TEST(SetMatch, ReportsABadSet)
{
    const report_log log;
    for (const char *set : {"^z-a]", "", "a-"})
        EXPECT_EQ(set_match(set, 'x', false), set);
    EXPECT_EQ(report_log::lines(),
              "11502/0 bad pattern [^z-a]\n11502/0 bad pattern [\n11502/0 bad pattern [a-\n");
}

TEST(ScanAddress, ReadsFourForms)
{
    for (const auto &[text, want] : {std::pair("0x7f.1", "127.0.0.1"),
                                     {"1.2.3.4 x", "1.2.3.4"},
                                     {"1.2.65535\t", "1.2.255.255"},
                                     {"1.16777215", "1.255.255.255"},
                                     {"0xFFFFFFFF", "255.255.255.255"},
                                     {"010.0X10.0.0", "8.16.0.0"},
                                     {"0", "0.0.0.0"},
                                     {"256.1.1.1", ""},
                                     {"1.2.3.256", ""},
                                     {"1.2.65536", ""},
                                     {"1.16777216", ""},
                                     {"4294967296", ""},
                                     {"1.2.3.4.5", ""},
                                     {"1.2.3.", ""},
                                     {".1", ""},
                                     {"1..2", ""},
                                     {"08", ""},
                                     {"0x", ""},
                                     {"0xg", ""},
                                     {"1a", ""},
                                     {"-1", ""},
                                     {" 1", ""}}) {
        u32 addr_be = 7;
        EXPECT_EQ(scan_address(text, addr_be) ? format_address(addr_be) : "",
                  std::string_view(want))
            << text;
        EXPECT_TRUE(*want != '\0' || addr_be == 7) << text;
    }
}

TEST(MapuidMapgid, TakeNumbersAndNames)
{
    for (const auto map : {mapuid, mapgid}) {
        EXPECT_EQ(map(""), 0);
        EXPECT_EQ(map("0042"), 42);
        EXPECT_EQ(map("root"), 0);
        EXPECT_EQ(map("99999999999999999999"), 2147483647);
        for (const char *name : {"no-such-name", "-1", "12 ", static_cast<const char *>(nullptr)})
            EXPECT_EQ(map(name), -1);
    }
    EXPECT_TRUE(isalldigits("") && isalldigits("0123456789"));
    EXPECT_FALSE(isalldigits(" 1") || isalldigits("1x") || isalldigits(nullptr));
}
