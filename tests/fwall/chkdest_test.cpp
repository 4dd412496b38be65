#include "lib/fwall/chkdest.h"

#include "tests/fwall/proxy_setup.h"

#include <gtest/gtest.h>

using questions = std::vector<std::string>;

static void play(scripted_names &names)
{
    names.hosts = {{"mail.lan", {{"10.0.0.1"}}},
                   {"two.lan", {{"10.0.0.1", "20.0.0.1"}}},
                   {"none.lan", {}},
                   {"wide.lan", {{"10.0.0.1"}, 16}},
                   {"3com.lan", {{"10.3.0.1"}}},
                   {"3wide.lan", {{"10.3.0.1"}, 3}}};
    names.names = {{"10.0.0.1", "Mail.LAN"}};
    names.services = {{"smtp", 25}};
}

TEST(PermitDstChk, ChecksHosts)
{
    static const struct {
        const char *label, *table, *host;
        int want;
        questions asked;
        std::vector<told> reports;
    } cases[] = {
        {"no entry", "n: k 1\n", "10.1.1.1", 1, {}, {}},
        {"no entry, name", "n: k 1\n", "mail.lan", 1, {"name mail.lan"}, {}},
        {"all", "n: permit-destination *\n", "10.1.1.1", 0, {}, {}},
        {"no prefix", "n: destination 10.*\n", "10.1.1.1", 0, {}, {}},
        {"absorb", "n: absorb-destination 10.*\n", "10.1.1.1", 0, {}, {}},
        {"no match", "n: permit-destination 11.*\n", "10.1.1.1", 1, {}, {}},
        {"no item", "n: permit-destination  \n", "10.1.1.1", 1, {}, {}},
        {"deny first",
         "n: deny-destination 10.*\nn: permit-destination *\n",
         "10.1.1.1",
         1,
         {},
         {}},
        {"deny first, other",
         "n: deny-destination 10.*\nn: permit-destination *\n",
         "11.1.1.1",
         0,
         {},
         {}},
        {"permit first",
         "n: permit-destination *\nn: deny-destination 10.*\n",
         "10.1.1.1",
         0,
         {},
         {}},
        {"turned permit", "n: permit-destination !10.* *\n", "10.1.1.1", 1, {}, {}},
        {"turned permit, other", "n: permit-destination !10.* *\n", "11.1.1.1", 0, {}, {}},
        {"turned deny", "n: deny-destination !10.*\n", "10.1.1.1", 0, {}, {}},
        {"turned deny, other", "n: deny-destination !10.*\n", "11.1.1.1", 1, {}, {}},
        {"one mark only", "n: destination !!10.* 10.1.*\n", "10.1.1.1", 0, {"addr 10.1.1.1"}, {}},
        {"numeric, name pattern", "n: destination *.lan\n", "10.0.0.1", 0, {"addr 10.0.0.1"}, {}},
        {"numeric, one look-up",
         "n: destination a.lan\nn: destination b.lan mail.lan\n",
         "10.0.0.1",
         0,
         {"addr 10.0.0.1"},
         {}},
        {"numeric, no name",
         "n: destination *.lan unknown\n",
         "10.0.0.9",
         0,
         {"addr 10.0.0.9"},
         {}},
        {"numeric, in rev_dns",
         "n: rev_dns 10.*\nn: destination *.lan unknown\n",
         "10.0.0.1",
         1,
         {},
         {}},
        {"range", "n: destination 10.0.0.1-10.0.0.3\n", "10.0.0.2", 0, {}, {}},
        {"empty host", "n: destination 10.*\n", "", 1, {}, {}},
        {"empty host, all", "n: destination *\n", "", 0, {}, {}},
        {"digit in front", "n: destination 10.3.*\n", "3com.lan", 0, {"name 3com.lan"}, {}},
        {"digit in front, by name", "n: destination *.LAN\n", "3com.lan", 0, {"name 3com.lan"}, {}},
        {"digit in front, unknown",
         "n: destination 10.3.*\n",
         "3bom.lan",
         1,
         {"name 3bom.lan", "name 3bom.lan"},
         {}},
        {"digit in front, wrong length",
         "n: destination 10.3.*\n",
         "3wide.lan",
         1,
         {"name 3wide.lan", "name invalid"},
         {{10504, 0, "securityalert: invalid host address length (3) hostname 3wide.lan"}}},
        {"name by name", "n: destination *.lan\n", "mail.lan", 0, {"name mail.lan"}, {}},
        {"name by address", "n: destination 10.*\n", "mail.lan", 0, {"name mail.lan"}, {}},
        {"name, no match", "n: destination 11.* *.wan\n", "mail.lan", 1, {"name mail.lan"}, {}},
        {"unknown", "n: destination *\n", "nobody.lan", 99, {"name nobody.lan"}, {}},
        {"without an address", "n: destination *\n", "none.lan", 99, {"name none.lan"}, {}},
        {"wrong length",
         "n: destination *\n",
         "wide.lan",
         1,
         {"name wide.lan"},
         {{10504, 0, "securityalert: invalid host address length (16) hostname wide.lan"}}},
        {"two, one covered", "n: destination 10.*\n", "two.lan", 1, {"name two.lan"}, {}},
        {"two, other covered", "n: destination 20.*\n", "two.lan", 1, {"name two.lan"}, {}},
        {"two, both covered", "n: destination 10.* 20.*\n", "two.lan", 0, {"name two.lan"}, {}},
        {"two, one refused",
         "n: deny-destination 20.*\nn: destination *\n",
         "two.lan",
         1,
         {"name two.lan"},
         {}},
        {"blocked",
         "n: destination *\nn: afw-dest 10.* any id7\n",
         "10.1.1.1",
         1,
         {},
         {{1504, 0, "AFW: deny destination host 10.1.1.1, port 80, AFW id: id7"}}},
        {"blocked without id",
         "n: destination *\nn: afw-dest 10.* *\n",
         "10.1.1.1",
         1,
         {},
         {{1504, 0, "AFW: deny destination host 10.1.1.1, port 80, AFW id: "}}},
        {"blocked name",
         "n: destination *\nn: afw-dest 20.* 80 x\n",
         "two.lan",
         1,
         {"name two.lan"},
         {{1504, 0, "AFW: deny destination host two.lan, port 80, AFW id: x"}}},
        {"blocked at an address behind one without match",
         "n: destination 30.*\nn: afw-dest 20.* 80 x\n",
         "two.lan",
         1,
         {"name two.lan"},
         {{1504, 0, "AFW: deny destination host two.lan, port 80, AFW id: x"}}},
        {"block of others",
         "n: destination *\nn: afw-dest 11.* any x\nn: afw-dest 10.* smtp y\n",
         "10.1.1.1",
         0,
         {"port smtp"},
         {}},
        {"malformed block",
         "n: destination *\nn: afw-dest 11.*\n",
         "10.1.1.1",
         1,
         {},
         {{11502, 2, "AFW: destination blocking rule is not generated correctly, line 2"}}},
        {"look-up shared with the block",
         "n: afw-dest a.lan 80 x\nn: destination mail.lan\n",
         "10.0.0.1",
         0,
         {"addr 10.0.0.1"},
         {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        proxy_setup setup(row.table);
        play(setup.names);
        EXPECT_EQ(permit_dst_chk(row.host, 80, proxy_confp), row.want);
        EXPECT_EQ(setup.names.asked, row.asked);
        EXPECT_EQ(report_log::reports, row.reports);
    }
}

TEST(PermitDstChk, RefusesWithoutAList)
{
    proxy_setup setup("n: destination *\n");
    play(setup.names);
    for (cfgrec *list : {static_cast<cfgrec *>(nullptr), cfg_failure()}) {
        EXPECT_EQ(permit_dst_chk("10.1.1.1", 80, list), 1);
        EXPECT_EQ(permit_dst_chk("mail.lan", 80, list), 1);
        EXPECT_EQ(permit_proxy_chk(list), 1);
        EXPECT_EQ(permit_port_chk(80, list), 0);
    }
    EXPECT_EQ(permit_dst_chk(nullptr, 80, nullptr), 1);
}

TEST(PermitDstChk, TellsTheContextOfNumericHosts)
{
    proxy_setup setup("n: destination *\n");
    play(setup.names);
    EXPECT_EQ(permit_dst_chk("mail.lan", 80, proxy_confp), 0);
    EXPECT_STREQ(setup.connection.GetDstIPAddress(), "");
    EXPECT_EQ(setup.connection.GetDstPort(), 0);
    EXPECT_EQ(permit_dst_chk("3com.lan", 80, proxy_confp), 0);
    EXPECT_STREQ(setup.connection.GetDstIPAddress(), "10.3.0.1");
    EXPECT_EQ(permit_dst_chk("10.1.1.1", 25, nullptr), 1); // a refusal shows where to
    EXPECT_STREQ(setup.connection.GetDstIPAddress(), "10.1.1.1");
    EXPECT_EQ(setup.connection.GetDstPort(), 25);
}

TEST(PermitPortChk, LetsTheFirstItemDecide)
{
    static const struct {
        const char *table;
        int port, want;
    } cases[] = {
        {"n: k 1\n", 80, 0},
        {"n: ports  \n", 80, 1},
        {"n: ports 23 smtp !25\n", 25, 0},
        {"n: ports 23 smtp !25\n", 80, 1},
        {"n: ports !25 *\n", 25, 1},
        {"n: ports !25 *\n", 80, 0},
        {"n: ports *anything\n", 80, 0},
        {"n: ports ANY\n", 80, 0},
        {"n: ports anything\n", 80, -1}, // an unknown service ends the process
        {"n: deny-ports smtp\nn: ports any\n", 25, 1},
        {"n: deny-ports smtp\nn: ports any\n", 80, 0},
        {"n: deny-ports !smtp\n", 25, 0},
        {"n: deny-ports !smtp\n", 80, 1},
        {"n: ports 65616\n", 80, 1},
        {"n: ports 4294967376\n", 80, 1},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.table);
        proxy_setup setup(std::string(row.table) + "n: destination *\n");
        play(setup.names);
        if (row.want == -1) {
            EXPECT_EXIT((void)permit_port_chk(row.port, proxy_confp), testing::ExitedWithCode(1),
                        "");
            continue;
        }
        EXPECT_EQ(permit_port_chk(row.port, proxy_confp), row.want);
        // The check of a destination ends with that of its port.
        EXPECT_EQ(permit_dst_chk("10.1.1.1", row.port, proxy_confp), row.want);
        EXPECT_EQ(permit_dst_chk("mail.lan", row.port, proxy_confp), row.want);
    }
}

TEST(PermitProxyChk, ComparesTheProxyName)
{
    static const struct {
        const char *table;
        int want;
    } cases[] = {
        {"n: k 1\n", 1},
        {"n: proxy  \n", 1},
        {"n: proxy re*\n", 0},
        {"n: permit-proxy other relay\n", 0},
        {"n: proxy RELAY\n", 1},
        {"n: proxy !relay *\n", 1},
        {"n: deny-proxy relay\nn: proxy *\n", 1},
        {"n: deny-proxy !relay\n", 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.table);
        const proxy_setup setup(row.table);
        EXPECT_EQ(permit_proxy_chk(proxy_confp), row.want);
    }
}

TEST(Destmatch, LooksUpWhatThePatternNeeds)
{
    static const struct {
        const char *label, *dest, *pattern;
        int want;
        const char *mapped, *reverse; // afterwards
    } cases[] = {
        {"all", "mail.lan", "*", 1, nullptr, nullptr},
        {"both names", "mail.lan", "*.lan", 1, nullptr, nullptr},
        {"both addresses", "10.0.0.1", "10.0", 1, nullptr, nullptr},
        {"name, address wanted", "mail.lan", "10.*", 1, "10.0.0.1", nullptr},
        {"address, name wanted", "10.0.0.1", "*.lan", 1, nullptr, "mail.lan"},
        {"what stands behind a colon does not count", "10.0.0.1", "10.0.0.1:mask", 0, nullptr,
         nullptr},
        {"mask", "mail.lan", "10.0.0.0:255.0.0.0", 1, "10.0.0.1", nullptr},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        proxy_setup setup("n: k 1\n");
        play(setup.names);
        const char *mapped = nullptr, *reverse = nullptr;
        for (int round = 0; round < 2; ++round) // the second asks nobody
            EXPECT_EQ(destmatch(row.dest, &mapped, &reverse, row.pattern), row.want);
        EXPECT_STREQ(mapped, row.mapped);
        EXPECT_STREQ(reverse, row.reverse);
        EXPECT_LE(setup.names.asked.size(), 1u);
    }
}
