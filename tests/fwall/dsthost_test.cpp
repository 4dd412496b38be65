// What the sockets and the name service tell of the ends of a connection.
#include "lib/fwall/dsthost.h"

#include "lib/fwall/pname.h"
#include "lib/fwall/port.h"
#include "lib/fwall/revmap.h"
#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

TEST(Maphostname, GivesTheFirstAddress)
{
    proxy_setup setup("k 1");
    setup.names.hosts = {
        {"two", {{"10.0.0.1", "10.0.0.2"}}}, {"none", {}}, {"wide", {{"10.0.0.1"}, 16}}};
    EXPECT_STREQ(maphostname("10.1.*"), "10.1.*");
    EXPECT_STREQ(maphostname("two"), "10.0.0.1");
    EXPECT_STREQ(maphostname("nobody"), "nobody");
    EXPECT_STREQ(maphostname("none"), "none");
    EXPECT_STREQ(maphostname("wide"), "invalid");
    EXPECT_EQ(setup.asked_and_told(),
              "name two\nname nobody\nname none\nname wide\n"
              "10504/0 securityalert: invalid host address length (16) hostname wide\n");
}

TEST(Revmap, GivesNames)
{
    scripted_names names;
    names.names = {{"10.0.0.1", "Mail.Office.LAN"}, {"10.0.0.2", std::string(300, 'N')}};
    EXPECT_STREQ(revmap("Mail"), "Mail");
    EXPECT_STREQ(revmap(""), "");
    EXPECT_STREQ(revmap(nullptr), "unknown");
    EXPECT_STREQ(revmap("0xa.1"), "mail.office.lan");
    EXPECT_EQ(revmap("10.0.0.2"), std::string(256, 'n'));
    EXPECT_STREQ(revmap("10.0.0.3"), "unknown");
    EXPECT_EQ(names.lines(), "addr 10.0.0.1\naddr 10.0.0.2\naddr 10.0.0.3\n");
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
