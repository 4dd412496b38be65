// What the sockets and the name service tell of the ends of a connection.
#include "lib/fwall/access/dsthost.h"

#include "lib/fwall/access/pname.h"
#include "lib/fwall/match/port.h"
#include "lib/fwall/match/revmap.h"
#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

TEST(MaphostnameRevmap, GiveTheFirstAnswer)
{
    proxy_setup setup("k 1");
    setup.names.hosts = {
        {"two", {{"10.0.0.1", "10.0.0.2"}}}, {"none", {}}, {"wide", {{"10.0.0.1"}, 16}}};
    setup.names.names = {{"10.0.0.1", "Mail.Office.LAN"}, {"10.0.0.2", std::string(300, 'N')}};
    std::string texts;
    for (const char *host : {"10.1.*", "two", "nobody", "none", "wide"})
        texts += std::string(maphostname(host)) + ' ';
    for (const char *address :
         {"Mail", "", "0xa.1", "10.0.0.3", static_cast<const char *>(nullptr)})
        texts += std::string(revmap(address)) + ' ';
    EXPECT_EQ(texts, "10.1.* 10.0.0.1 nobody none invalid Mail  mail.office.lan unknown unknown ");
    EXPECT_EQ(revmap("10.0.0.2"), std::string(256, 'n'));
    EXPECT_EQ(setup.asked_and_told(),
              "name two\nname nobody\nname none\nname wide\n"
              "addr 10.0.0.1\naddr 10.0.0.3\naddr 10.0.0.2\n"
              "10504/0 securityalert: invalid host address length (16) hostname wide\n");
}

TEST(StrToPort, TakesNumbersAndServicesOrEndsTheProcess)
{
    scripted_names names;
    names.services = {{"high", 65535}};
    EXPECT_EQ(str_to_port("0080"), 80);
    EXPECT_EQ(str_to_port(""), 0);
    EXPECT_EQ(str_to_port("high"), 65535);
    EXPECT_EQ(str_to_port("99999999999"), 2147483647);
    for (const char *port : {"HIGH", "-1", "25 ", static_cast<const char *>(nullptr)})
        EXPECT_EXIT((void)str_to_port(port), testing::ExitedWithCode(1), "");
}

TEST(PeerAddrName, CutsBothTexts)
{
    const sockaddr_in addr = plain_address("192.168.1.200");
    for (const auto &[size, want] :
         {std::pair(std::size_t{14}, "unknown/192.168.1.200"), {4, "unk/192"}, {1, "/"}}) {
        char name[16] = "", address[16] = "old";
        EXPECT_EQ(peer_addr_name(&addr, name, address, size), 0);
        EXPECT_EQ(std::string(name) + '/' + address, want);
    }
    char name[16] = "mail", address[16] = "old";
    EXPECT_EQ(peer_addr_name(&addr, name, address, 0), 0);
    EXPECT_EQ(std::string(name) + '/' + address, "mail/old"); // a name stays
}

// Connections that are redirected, and that are not, reach their places in tests/system.
TEST(Getdsthost, FailsWithoutTheDevice)
{
    const proxy_setup setup("k 1");
    scripted_platform device;
    device.fw_open_error = EACCES;
    const loopback_connection pair;
    int port = 0;
    EXPECT_EQ(getdsthost(pair.server, &port), nullptr);
    EXPECT_EQ(getdsthost(pair.server, nullptr), nullptr);
    char name[32] = "", address[32] = "";
    EXPECT_EQ(peername(pair.server, name, address, sizeof address), 1);
    EXPECT_EQ(std::string(setup.connection.GetDstIPAddress()) + name + address, "");
}
