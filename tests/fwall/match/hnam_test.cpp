// The matchers of names and addresses, and the readers of texts of one kind.
#include "lib/fwall/match/hnam.h"

#include "lib/fwall/match/alldi.h"
#include "lib/fwall/match/nama.h"
#include "lib/fwall/match/scan_address.h"
#include "lib/fwall/serve/mapg.h"
#include "lib/fwall/serve/mapu.h"
#include "lib/ulib/address.h"
#include "tests/case_lines.h"
#include "tests/ulib/report_log.h"
#include "tests/ulib/scripted_names.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(Hostmatch, FitsByTheKindOfThePattern)
{
    const scripted_names nothing_known;
    for (case_row &row : case_rows("fwall/host_patterns", "fits not"))
        for (const char *word : {"fits", "not"})
            for (const std::string &host : pieces_of(row[word], '|'))
                EXPECT_EQ(hostmatch(row["case"].c_str(), host.c_str()), word[0] == 'f' ? 1 : 0)
                    << row["case"] << " with " << host;
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
