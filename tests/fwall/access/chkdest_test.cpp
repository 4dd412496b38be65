#include "lib/fwall/access/chkdest.h"

#include "tests/case_lines.h"
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
    for (case_row &row : case_rows("fwall/destinations", "from want")) {
        SCOPED_TRACE(row["from"] + " with " + row["case"]);
        const dest_setup setup(row["from"]);
        const int code = permit_dst_chk(row["case"].c_str(), 80, proxy_confp);
        EXPECT_EQ(std::to_string(code) + '\n' + setup.asked_and_told(), row["want"] + '\n');
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
