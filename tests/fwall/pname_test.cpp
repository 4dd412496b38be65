#include "lib/fwall/pname.h"

#include "tests/fwall/proxy_setup.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

#include <gtest/gtest.h>

TEST(PeerAddrName, FillsBothTexts)
{
    const sockaddr_in addr = plain_address("192.168.1.200");
    static const struct {
        const char *label, *before;
        std::size_t size;
        std::string name, address;
    } cases[] = {
        {"no name", "", 16, "unknown", "192.168.1.200"},
        {"a name stays", "mail", 16, "mail", "192.168.1.200"},
        {"just fits", "", 14, "unknown", "192.168.1.200"},
        {"cut", "", 4, "unk", "192"},
        {"terminators alone", "", 1, "", ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        char name[16] = {}, address[16] = "old";
        set_text(name, row.before);
        EXPECT_EQ(peer_addr_name(&addr, name, address, row.size), 0);
        EXPECT_EQ(name, row.name);
        EXPECT_EQ(address, row.address);
    }
    char untouched = 'x';
    EXPECT_EQ(peer_addr_name(&addr, &untouched, &untouched, 0), 0);
    EXPECT_EQ(untouched, 'x');
}

TEST(Peername, AsksForTheTrueFarEnd)
{
    const proxy_setup setup("n: k 1\n");
    scripted_platform device;
    const loopback_connection pair;
    char name[32] = "", address[32] = "";
    device.on_fw_ioctl = [](unsigned long, byte_area record) {
        put_end(record, 4, "10.1.2.3", 65535);
        put_end(record, 20, "20.0.0.1", 80);
        return 0;
    };
    EXPECT_EQ(peername(pair.server, name, address, sizeof address), 0);
    EXPECT_STREQ(name, "unknown");
    EXPECT_STREQ(address, "10.1.2.3");
    EXPECT_STREQ(setup.connection.GetSrcIPAddress(), "10.1.2.3");
    EXPECT_EQ(setup.connection.GetSrcPort(), 65535);
    EXPECT_TRUE(setup.names.asked.empty());
}

TEST(Peername, FailsWithoutAnAddress)
{
    const proxy_setup setup("n: k 1\n");
    scripted_platform device;
    const loopback_connection pair;
    char name[32] = "", address[32] = "";
    device.fw_open_error = EACCES;
    EXPECT_EQ(peername(pair.server, name, address, sizeof address), 1);
    EXPECT_EQ(errno, EACCES);
    EXPECT_EQ(peername(-1, name, address, sizeof address), 1);

    device.fw_open_error = 0;
    device.on_fw_ioctl = [](unsigned long, byte_area) {
        errno = ENOENT;
        return -1;
    };
    int fds[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, fds), 0);
    EXPECT_EQ(peername(fds[0], name, address, sizeof address), 1);
    close(fds[0]);
    close(fds[1]);
    EXPECT_STREQ(address, "");
    EXPECT_STREQ(setup.connection.GetSrcIPAddress(), "");
}
