// What the sockets and the name service tell of the ends of a connection.
#include "lib/fwall/dsthost.h"

#include "lib/fwall/pname.h"
#include "lib/fwall/port.h"
#include "lib/fwall/revmap.h"
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
    const auto texts = [&addr](const char *name_before, std::size_t size) {
        char name[16] = {}, address[16] = "old";
        set_text(name, name_before);
        EXPECT_EQ(peer_addr_name(&addr, name, address, size), 0);
        return std::string(name) + '/' + address;
    };
    EXPECT_EQ(texts("", 14), "unknown/192.168.1.200");
    EXPECT_EQ(texts("mail", 14), "mail/192.168.1.200"); // a name stays
    EXPECT_EQ(texts("", 4), "unk/192");
    EXPECT_EQ(texts("", 1), "/");
    EXPECT_EQ(texts("x", 0), "x/old");
}

TEST(Getdsthost, AsksForTheTrueEndsOrFails)
{
    // What getdsthost and the connection's context say of the destination, then of the source.
    const auto ends = [](const char *destination, int error) {
        const proxy_setup setup("k 1");
        const CConnectionContext &context = setup.connection;
        scripted_platform device;
        const loopback_connection pair;
        device.fw_open_error = error;
        device.on_fw_ioctl = [destination](unsigned long, byte_area record) {
            if (record.size() == 36) {
                put_end(record, 4, "10.1.2.3", 65535);
                put_end(record, 20, destination, 8080);
            }
            return 0;
        };
        int port = 0;
        EXPECT_EQ(getdsthost(pair.server, nullptr) == nullptr,
                  getdsthost(pair.server, &port) == nullptr);
        char name[32] = "", address[32] = "";
        EXPECT_EQ(peername(pair.server, name, address, sizeof address), error == 0 ? 0 : 1);
        EXPECT_STREQ(context.GetSrcIPAddress(), address);
        EXPECT_EQ(context.GetDstPort(), port);
        return context.GetDstIPAddress() + ('/' + std::to_string(port)) + ' ' + address + '/' +
               std::to_string(context.GetSrcPort());
    };
    EXPECT_EQ(ends("20.0.0.1", 0), "20.0.0.1/8080 10.1.2.3/65535");
    EXPECT_EQ(ends("127.0.0.1", 0), "/0 10.1.2.3/65535"); // the firewall itself
    EXPECT_EQ(ends("20.0.0.1", EACCES), "/0 /0");
}
