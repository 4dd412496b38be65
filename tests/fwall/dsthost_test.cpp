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
    static const struct {
        const char *host, *want, *asked_and_told;
    } cases[] = {
        {"two", "10.0.0.1", "name two\n"},
        {"nobody", "nobody", "name nobody\n"},
        {"none", "none", "name none\n"},
        {"wide", "invalid",
         "name wide\n10504/0 securityalert: invalid host address length (16) hostname wide\n"},
        {"10.1.*", "10.1.*", ""},
    };
    for (const auto &row : cases) {
        proxy_setup setup("k 1");
        setup.names.hosts = {
            {"two", {{"10.0.0.1", "10.0.0.2"}}}, {"none", {}}, {"wide", {{"10.0.0.1"}, 16}}};
        EXPECT_STREQ(maphostname(row.host), row.want);
        EXPECT_EQ(setup.asked_and_told(), row.asked_and_told);
    }
}

TEST(Revmap, GivesNames)
{
    scripted_names names;
    names.names = {{"10.0.0.1", "Mail.Office.LAN"}, {"10.0.0.2", std::string(300, 'N')}};
    EXPECT_STREQ(revmap("10.0.0.1"), "mail.office.lan");
    EXPECT_STREQ(revmap("0xa.1"), "mail.office.lan");
    EXPECT_EQ(revmap("10.0.0.2"), std::string(256, 'n'));
    EXPECT_STREQ(revmap("10.0.0.3"), "unknown");
    EXPECT_EQ(names.asked.size(), 4u);
    EXPECT_STREQ(revmap("Mail"), "Mail");
    EXPECT_STREQ(revmap(""), "");
    EXPECT_STREQ(revmap(nullptr), "unknown");
    EXPECT_EQ(names.asked.size(), 4u);
}

TEST(StrToPort, TakesNumbersAndServicesOrEndsTheProcess)
{
    scripted_names names;
    names.services = {{"smtp", 25}, {"high", 65535}};
    EXPECT_EQ(str_to_port("0080"), 80);
    EXPECT_EQ(str_to_port(""), 0);
    EXPECT_EQ(str_to_port("smtp"), 25);
    EXPECT_EQ(str_to_port("high"), 65535);
    EXPECT_EQ(str_to_port("99999999999"), 2147483647);
    for (const char *port : {"SMTP", "-1", "25 ", static_cast<const char *>(nullptr)})
        EXPECT_EXIT((void)str_to_port(port), testing::ExitedWithCode(1), "");
}

TEST(Getdsthost, AsksForTheTrueDestination)
{
    static const struct {
        const char *destination;
        int error; // of the device
        bool with_port;
        const char *want;
        int port;
    } cases[] = {
        {"20.0.0.1", 0, true, "20.0.0.1", 8080},
        {"20.0.0.1", 0, false, "20.0.0.1", -1},
        {"127.0.0.1", 0, true, nullptr, -1}, // the firewall itself
        {"20.0.0.1", EACCES, true, nullptr, -1},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.destination);
        const proxy_setup setup("k 1");
        scripted_platform device;
        const loopback_connection pair;
        device.fw_open_error = row.error;
        device.on_fw_ioctl = [&row](unsigned long, byte_area record) {
            if (record.size() == 36)
                put_end(record, 20, row.destination, 8080);
            return 0;
        };
        int port = -1;
        EXPECT_STREQ(getdsthost(pair.server, row.with_port ? &port : nullptr), row.want);
        EXPECT_EQ(port, row.port);
        EXPECT_EQ(setup.connection.GetDstPort(), row.port == -1 ? 0 : row.port);
        EXPECT_STREQ(setup.connection.GetDstIPAddress(), row.want == nullptr ? "" : row.want);
    }
}

TEST(PeerAddrName, CutsBothTexts)
{
    const sockaddr_in addr = plain_address("192.168.1.200");
    static const struct {
        const char *before;
        std::size_t size;
        const char *name, *address;
    } cases[] = {{"", 14, "unknown", "192.168.1.200"},
                 {"mail", 14, "mail", "192.168.1.200"}, // a name stays
                 {"", 4, "unk", "192"},
                 {"", 1, "", ""},
                 {"x", 0, "x", "old"}};
    for (const auto &row : cases) {
        char name[16] = {}, address[16] = "old";
        set_text(name, row.before);
        EXPECT_EQ(peer_addr_name(&addr, name, address, row.size), 0);
        EXPECT_STREQ(name, row.name);
        EXPECT_STREQ(address, row.address);
    }
}

TEST(Peername, TakesTheTrueFarEndOrFails)
{
    const proxy_setup setup("k 1");
    scripted_platform device;
    const loopback_connection pair;
    char name[32] = "", address[32] = "";
    device.fw_open_error = EACCES;
    EXPECT_EQ(peername(pair.server, name, address, sizeof address), 1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(peername(-1, name, address, sizeof address), 1);
    EXPECT_STREQ(address, "");
    EXPECT_STREQ(setup.connection.GetSrcIPAddress(), "");
    device.fw_open_error = 0;
    device.on_fw_ioctl = [](unsigned long, byte_area record) {
        put_end(record, 4, "10.1.2.3", 65535);
        return 0;
    };
    EXPECT_EQ(peername(pair.server, name, address, sizeof address), 0);
    EXPECT_STREQ(address, "10.1.2.3");
    EXPECT_STREQ(setup.connection.GetSrcIPAddress(), "10.1.2.3");
    EXPECT_EQ(setup.connection.GetSrcPort(), 65535);
}
