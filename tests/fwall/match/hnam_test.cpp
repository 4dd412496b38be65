// The matchers of names and addresses, and the readers of texts of one kind.
#include "lib/fwall/match/hnam.h"

#include "lib/fwall/match/alldi.h"
#include "lib/fwall/match/inet_aton.h"
#include "lib/fwall/match/nama.h"
#include "lib/fwall/serve/mapg.h"
#include "lib/fwall/serve/mapu.h"
#include "lib/ulib/address.h"
#include "tests/fwall/scripted_names.h"
#include "tests/ulib/report_log.h"

#include <gtest/gtest.h>

// Which kind fits which host is compared with a model in tests/fuzz.
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

TEST(SetMatch, ReportsABadSet)
{
    const report_log log;
    for (const char *set : {"^z-a]", "", "a-"})
        EXPECT_EQ(set_match(set, 'x', false), set);
    EXPECT_EQ(report_log::lines(),
              "11502/0 bad pattern [^z-a]\n11502/0 bad pattern [\n11502/0 bad pattern [a-\n");
}

// Which texts are addresses is compared with a model in tests/fuzz.
TEST(InetAton, LeavesTheResultAloneForNoAddress)
{
    in_addr got{.s_addr = 7};
    EXPECT_EQ(inet_aton("1.2.3.4x", &got) + inet_aton(nullptr, &got) + inet_aton("", nullptr), 0);
    EXPECT_EQ(got.s_addr, 7);
    EXPECT_EQ(inet_aton("1.0x2.3", nullptr) + inet_aton("1.0x2.3", &got), 2);
    EXPECT_EQ(dotted(got.s_addr), "1.2.0.3");
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
