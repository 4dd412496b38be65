// The matchers of names and addresses, and the readers of texts of one kind.
#include "lib/fwall/hnam.h"

#include "lib/fwall/alldi.h"
#include "lib/fwall/inet_aton.h"
#include "lib/fwall/mapg.h"
#include "lib/fwall/mapu.h"
#include "lib/fwall/nama.h"
#include "lib/ulib/address.h"
#include "tests/fwall/report_log.h"
#include "tests/fwall/scripted_names.h"

#include <gtest/gtest.h>

TEST(Hostmatch, TellsKindsOfPatternsApart)
{
    const std::string full(511, 'x'), longer(512, 'x');
    const struct {
        std::string pattern, host;
        int want;
        std::string asked_and_told = "";
    } cases[] = {
        {"*", std::string(1000, 'n'), 1},
        {"*.Office.lan", "MAIL.office.LAN", 1},
        {"a-b.office", "a-b.office", 1},
        {"10.a*", "10.1.1.1", 0},
        {"10.1*", "10.17.0.1", 1},
        {"10.0.0.5-10.0.0.9", "10.0.0.7", 1},
        {"10.*", "MAIL", 1, "name mail\n"},
        {"10.*", "two", 0, "name two\n"}, // the first address alone
        {"20.*", "two", 1, "name two\n"},
        {"", "nobody", 0, "name nobody\n"},
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

TEST(IpMatch, ComparesOctetsMasksAndRanges)
{
    static const struct {
        const char *pattern;
        std::vector<const char *> fit, others;
    } cases[] = {
        {"10.1", {"10.1.200.3", "10"}, {"10.17.0.1", "11"}},
        {"10.1.*", {"10.1.200.3"}, {"10.17.0.1"}},
        {"10.1.2.3.4", {"10.1.2.3"}, {}},
        {"", {"1.2.3.4"}, {}},
        {"10..3", {"10.0.3.1"}, {}},
        {"266.1", {"10.1.0.0"}, {}}, // modulo 256
        {"10.0.0.0:255", {"10.0.0.0"}, {"10.0.0.1"}},
        {"10:255.255", {"10.0.9.9"}, {"10.1.9.9"}},
        {"10.1.2.128:255.255.255.128", {"10.1.2.200"}, {"10.1.2.127"}},
        {"1.2.3.4:0.0.0.0.5", {}, {"1.2.3.4"}},
        {"10.0.0.5-10.0.0.9", {"10.0.0.5", "10.0.0.9"}, {"10.0.0.4", "10.0.0.10"}},
        {"1.0.0.0-255.255.255.255", {"200.0.0.2"}, {"", "1.2.3.4.5"}},
        {"-10.0.0.9", {}, {"0.0.0.0"}},
        {"10.0.0.5-", {}, {"10.0.0.5"}},
        {"10.0.0.5-10.0.0.9-10.0.0.11", {}, {"10.0.0.7"}},
        {"0000010.0.0.0000-255.255.255.255", {"9.0.0.0"}, {}},  // 16 characters
        {"00000010.0.0.0000-255.255.255.255", {}, {"9.0.0.0"}}, // 17
    };
    const report_log log;
    for (const auto &row : cases) {
        for (const char *address : row.fit)
            EXPECT_EQ(ip_match(row.pattern, address), 1) << row.pattern << " with " << address;
        for (const char *address : row.others)
            EXPECT_EQ(ip_match(row.pattern, address), 0) << row.pattern << " with " << address;
    }
    EXPECT_EQ(range_hostmatch("10.0.0.5", "10.0.0.5"), 0);
}

TEST(Namatch, EndsSoonWithManyStarsAndBadSets)
{
    const report_log log;
    std::string stars, sets;
    for (int i = 0; i < 100; ++i) {
        stars += "*a";
        sets += "*[a-b]";
    }
    const std::string text(500, 'a');
    EXPECT_EQ(namatch((stars + "c").c_str(), text.c_str()), 0);
    EXPECT_EQ(nacasematch((sets + "c").c_str(), text.c_str()), 0);
    // Each of these sets has the rest of the pattern in it.
    EXPECT_EQ(
        nacasematch(("*" + std::string(4000, '[') + "x").c_str(), std::string(8000, 'a').c_str()),
        0);
    EXPECT_EQ(report_log::reports.size(), 2000);
}

TEST(SetMatch, TellsWhereTheSetEnds)
{
    const report_log log;
    const auto end_of = [](const char *set, char c, bool no_case = false) {
        const char *end = set_match(set, c, no_case);
        return end == nullptr ? -1 : end - set;
    };
    EXPECT_EQ(end_of("abc]d]", 'b'), 3);
    EXPECT_EQ(end_of("A-C]", 'b'), -1);
    EXPECT_EQ(end_of("A-C]", 'b', true), 3);
    EXPECT_EQ(end_of("\x80-\xff]", '\xe4', true), 3);
    EXPECT_EQ(end_of("^a]", 'b'), 2);
    EXPECT_EQ(end_of("^a]", 'A', true), -1);
    EXPECT_EQ(end_of("]]", ']'), 1);
    EXPECT_EQ(end_of("^]a]", ']'), -1);
    EXPECT_EQ(end_of("a-b-c]", '-'), 5);
    EXPECT_EQ(end_of("ba-]", 'b'), 3);
    EXPECT_EQ(end_of("ba-]", 'a'), -1);
    EXPECT_EQ(end_of("+--]", ','), 3);
    EXPECT_EQ(report_log::lines(), "");
    EXPECT_EQ(end_of("^z-a]", 'x'), 0);
    EXPECT_EQ(end_of("", 'x'), 0);
    EXPECT_EQ(report_log::lines(), "11502/0 bad pattern [^z-a]\n11502/0 bad pattern [\n");
}

TEST(InetAton, ReadsTheFormsOfAnAddress)
{
    const auto read = [](const char *text) {
        in_addr got{.s_addr = 7};
        const int valid = inet_aton(text, &got);
        EXPECT_EQ(inet_aton(text, nullptr), valid);
        return valid == 1 ? dotted(got.s_addr) : got.s_addr == 7 ? "none" : "none, but written";
    };
    EXPECT_EQ(read("1.2.3.255"), "1.2.3.255");
    EXPECT_EQ(read("4294967295"), "255.255.255.255");
    EXPECT_EQ(read("1.16777215"), "1.255.255.255");
    EXPECT_EQ(read("1.2.65535"), "1.2.255.255");
    EXPECT_EQ(read("0XfF.0xa.010.007"), "255.10.8.7");
    EXPECT_EQ(read("1.2\tx"), "1.0.0.2");
    for (const char *text : {"4294967296", "18446744073709551617", "1.16777216", "1.2.65536",
                             "1.2.3.256", "1.256.1", "08.1", "1a.1", "0x", "0x.1", "1.2.3.4x"})
        EXPECT_EQ(read(text), "none") << text;
    for (const char *text : {"", " 1.2", ".", "1.", "1. ", "1..2", ".1", "1.2.3.4.", "1.2.3.4.5"})
        EXPECT_EQ(read(text), "none") << text;
    EXPECT_EQ(read("-1") + read("1.2.3.4\xa0") + read(nullptr), "nonenonenone");
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
