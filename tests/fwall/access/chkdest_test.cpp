#include "lib/fwall/access/chkdest.h"

#include "tests/fwall/proxy_setup.h"

using namespace flatlink;

struct dest_setup : proxy_setup {
    explicit dest_setup(const std::string &lines) : proxy_setup(lines)
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
};

TEST(PermitDstChk, ChecksHosts)
{
    static const struct {
        const char *lines, *host, *want; // the code, what was asked and what was reported
    } cases[] = {
        {"k 1", "10.1.1.1", "1\n"},
        {"absorb-destination 10.*", "10.1.1.1", "0\n"},
        {"deny-destination 10.*\npermit-destination *", "10.1.1.1", "1\n"},
        {"permit-destination !10.* *", "10.1.1.1", "1\n"},
        {"deny-destination !10.*", "10.1.1.1", "0\n"},
        {"deny-destination !10.*", "11.1.1.1", "1\n"},
        {"destination !!10.* 10.1.*", "10.1.1.1", "0\naddr 10.1.1.1\n"}, // one mark only
        {"destination a.lan\ndestination b.lan mail.lan", "10.0.0.1", "0\naddr 10.0.0.1\n"},
        {"destination *.lan unknown", "10.0.0.9", "0\naddr 10.0.0.9\n"},
        {"rev_dns 10.*\ndestination *.lan unknown", "10.0.0.1", "1\n"},
        {"destination 10.0.0.1:mask", "10.0.0.1", "1\n"},
        {"destination *", "", "0\n"},
        {"destination 10.3.*", "3com.lan", "0\nname 3com.lan\n"}, // begins as an address does
        {"destination 10.3.*", "3bom.lan", "1\nname 3bom.lan\nname 3bom.lan\n"},
        {"destination 10.3.*", "3wide.lan",
         "1\nname 3wide.lan\nname invalid\n"
         "10504/0 securityalert: invalid host address length (3) hostname 3wide.lan\n"},
        {"destination 10.*", "mail.lan", "0\nname mail.lan\n"},
        {"destination *", "nobody.lan", "99\nname nobody.lan\n"},
        {"destination *", "none.lan", "99\nname none.lan\n"},
        {"destination *", "wide.lan",
         "1\nname wide.lan\n"
         "10504/0 securityalert: invalid host address length (16) hostname wide.lan\n"},
        {"destination 10.*", "two.lan", "1\nname two.lan\n"},
        {"destination 20.*", "two.lan", "1\nname two.lan\n"},
        {"destination 10.* 20.*", "two.lan", "0\nname two.lan\n"},
        {"deny-destination 20.*\ndestination *", "two.lan", "1\nname two.lan\n"},
        {"destination *\nafw-dest 10.* any id7", "10.1.1.1",
         "1\n1504/0 AFW: deny destination host 10.1.1.1, port 80, AFW id: id7\n"},
        {"destination 30.*\nafw-dest 20.* 80 x", "two.lan",
         "1\nname two.lan\n1504/0 AFW: deny destination host two.lan, port 80, AFW id: x\n"},
        {"destination *\nafw-dest 11.* any x\nafw-dest 10.* smtp y", "10.1.1.1", "0\nport smtp\n"},
        {"destination *\nafw-dest 11.*", "10.1.1.1",
         "1\n11502/2 AFW: destination blocking rule is not generated correctly, line 2\n"},
        {"afw-dest a.lan 80 x\ndestination mail.lan", "10.0.0.1", "0\naddr 10.0.0.1\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(std::string(row.lines) + " with " + row.host);
        const dest_setup setup(row.lines);
        const int code = permit_dst_chk(row.host, 80, proxy_confp);
        EXPECT_EQ(std::to_string(code) + '\n' + setup.asked_and_told(), row.want);
    }
}

TEST(PermitDstChk, RefusesWithoutAList)
{
    const dest_setup setup("destination *");
    for (cfgrec *list : {static_cast<cfgrec *>(nullptr), cfg_failure()}) {
        EXPECT_EQ(permit_dst_chk("10.1.1.1", 80, list), 1);
        EXPECT_EQ(permit_dst_chk("mail.lan", 80, list), 1);
        EXPECT_EQ(permit_dst_chk(nullptr, 80, list), 1);
        EXPECT_EQ(permit_proxy_chk(list), 1);
        EXPECT_EQ(permit_port_chk(80, list), 0);
    }
}

TEST(PermitDstChk, TellsTheContextOfNumericHosts)
{
    const dest_setup setup("destination *");
    EXPECT_EQ(permit_dst_chk("mail.lan", 80, proxy_confp), 0);
    EXPECT_STREQ(setup.connection.GetDstIPAddress(), "");
    EXPECT_EQ(permit_dst_chk("3com.lan", 80, proxy_confp), 0);
    EXPECT_STREQ(setup.connection.GetDstIPAddress(), "10.3.0.1");
    EXPECT_EQ(permit_dst_chk("10.1.1.1", 25, nullptr), 1); // a refusal shows where to
    EXPECT_STREQ(setup.connection.GetDstIPAddress(), "10.1.1.1");
    EXPECT_EQ(setup.connection.GetDstPort(), 25);
}

TEST(PermitPortChk, LetsTheFirstItemDecide)
{
    for (const auto &[lines, codes] : {std::pair("k 1", "00"), // for 25 and for 80
                                       {"ports  ", "11"},
                                       {"ports 23 smtp !25", "01"},
                                       {"ports !25 *anything", "10"},
                                       {"deny-ports smtp\nports ANY", "10"},
                                       {"ports 65616 4294967376", "11"}}) { // 80, modulo 2^n
        const dest_setup setup(std::string(lines) + "\ndestination *");
        for (std::size_t i = 0; i < 2; ++i) {
            const int port = i == 0 ? 25 : 80, want = codes[i] - '0';
            EXPECT_EQ(permit_port_chk(port, proxy_confp), want) << lines;
            // The check of a destination ends with that of its port.
            EXPECT_EQ(permit_dst_chk("10.1.1.1", port, proxy_confp), want) << lines;
            EXPECT_EQ(permit_dst_chk("mail.lan", port, proxy_confp), want) << lines;
        }
    }
}

TEST(PermitProxyChk, ComparesTheProxyName)
{
    for (const auto &[lines, code] : {std::pair("proxy re*", 0),
                                      {"proxy x relay", 0},
                                      {"k 1", 1},
                                      {"proxy RELAY", 1},
                                      {"proxy !relay *", 1},
                                      {"deny-proxy re*", 1}}) {
        const proxy_setup setup(lines);
        EXPECT_EQ(permit_proxy_chk(proxy_confp), code) << lines;
    }
}
