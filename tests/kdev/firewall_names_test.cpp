#include "lib/kdev/firewall_names.h"

#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

#include <fcntl.h>

namespace
{

constexpr unsigned long NAMES = 0xC0246610, LOCAL = 0xC00C6611;

// A driver that knows the connection, or fails with an errno; half an answer comes with that.
struct scripted_driver {
    int names_error = 0;
    int local_error = 0;
    std::int32_t local_result = 0;
    const char *true_local = "10.9.9.9";

    int operator()(unsigned long request, byte_area record) const
    {
        const bool asks_names = request == NAMES;
        if (asks_names) {
            put_end(record, 4, "10.8.8.8", 808);
            put_end(record, 20, true_local, 909);
        } else {
            store(record, 8, htonl(static_cast<u32>(local_result)));
        }
        errno = asks_names ? names_error : local_error;
        return errno == 0 ? 0 : -1;
    }
};

const struct {
    const char *label;
    int open_error, names_error;
    bool is_true_name;
    int code;
} roads[] = {
    {"redirected", 0, 0, true, 0},       {"not redirected", 0, ENOENT, false, 0},
    {"driver fails", 0, EIO, false, -1}, {"no right to open", EACCES, 0, false, -1},
    {"no device", ENOENT, 0, false, -1}, // not to be taken for an unknown connection
};

} // namespace

TEST(vfw_getpeername, takes_the_name_of_the_driver)
{
    loopback_connection c;
    const std::string plain = text_of_end(plain_end(getpeername, c.server));
    for (const auto &road : roads) {
        SCOPED_TRACE(road.label);
        scripted_platform script;
        script.fw_open_error = road.open_error;
        script.on_fw_ioctl = scripted_driver{.names_error = road.names_error};
        sockaddr_in addr{};
        socklen_t length = sizeof addr;
        EXPECT_EQ(road.code, vfw_getpeername(c.server, &addr, &length));
        EXPECT_EQ(16u, length);
        EXPECT_EQ(road.is_true_name ? "10.8.8.8:808" : plain, text_of_end(addr));
    }
}

TEST(vfw_getsockname, takes_the_name_of_the_driver)
{
    loopback_connection c;
    const std::string plain = text_of_end(plain_end(getsockname, c.server));
    for (const auto &road : roads) {
        SCOPED_TRACE(road.label);
        scripted_platform script;
        script.fw_open_error = road.open_error;
        script.on_fw_ioctl = scripted_driver{.names_error = road.names_error};
        sockaddr_in addr{};
        socklen_t length = sizeof addr;
        EXPECT_EQ(road.code, vfw_getsockname(c.server, &addr, &length));
        EXPECT_EQ(16u, length);
        EXPECT_EQ(road.is_true_name ? "10.9.9.9:909" : plain, text_of_end(addr));
    }
}

TEST(vfw_getsockname, unconnected_socket_asks_no_driver)
{
    scripted_platform script;
    const test_socket listener(bound_socket(SOCK_STREAM, "127.0.0.1"));
    sockaddr_in addr{};
    socklen_t length = sizeof addr;
    EXPECT_EQ(0, vfw_getsockname(listener, &addr, &length));
    EXPECT_EQ(text_of_end(plain_end(getsockname, listener)), text_of_end(addr));
    EXPECT_EQ(-1, vfw_getpeername(listener, &addr, &length));
    EXPECT_EQ(ENOTCONN, errno);
    EXPECT_EQ(-1, vfw_getdstname(listener, &addr, &length));
    EXPECT_EQ(ENOTCONN, errno);
    EXPECT_EQ(-1, vfw_getsockname(-1, &addr, &length));
    EXPECT_EQ(EBADF, errno);
    EXPECT_EQ(0, script.fw_opens);
}

TEST(vfw_getpeername, driver_gets_both_ends)
{
    const struct {
        const char *label;
        int type;
        std::uint16_t proto;
    } cases[] = {{"stream", SOCK_STREAM, 6}, {"datagram", SOCK_DGRAM, 17}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        const test_socket other(bound_socket(c.type, "127.0.0.1"));
        const test_socket sock(connected_socket(c.type, plain_end(getsockname, other)));
        sockaddr_in addr{};
        socklen_t length = sizeof addr;
        EXPECT_EQ(0, vfw_getpeername(sock, &addr, &length));
        EXPECT_EQ(0, vfw_getsockname(sock, &addr, &length));
        (void)vfw_getdstname(sock, &addr, &length);
        ASSERT_EQ(3u, script.fw_requests.size());
        for (const auto &asked : script.fw_requests) {
            EXPECT_EQ(NAMES, asked.request);
            EXPECT_EQ(O_RDONLY, asked.access);
            EXPECT_EQ(sock, asked.sock);
            ASSERT_EQ(36u, asked.record.size());
            EXPECT_EQ(htons(c.proto), at<std::uint16_t>(asked.record, 0));
            EXPECT_EQ(text_of_end(plain_end(getpeername, sock)), end_at(asked.record, 4));
            EXPECT_EQ(text_of_end(plain_end(getsockname, sock)), end_at(asked.record, 20));
        }
    }
}

TEST(vfw_getdstname, own_destinations_are_told_apart)
{
    const struct {
        const char *label;
        int open_error;
        scripted_driver driver;
        int code;
        const char *dst;   // of vfw_getdstname; "unset" when it is left alone
        const char *local; // of vfw_getbothnames
        std::size_t requests;
    } cases[] = {
        {"foreign", 0, {}, 0, "10.9.9.9:909", "10.9.9.9", 2},
        {"own", 0, {.local_result = 1}, 1, "unset", "10.9.9.9", 2},
        {"own, by another number", 0, {.local_result = -5}, 1, "unset", "10.9.9.9", 2},
        {"nobody knows", 0, {.local_error = EIO}, 1, "unset", "10.9.9.9", 2},
        {"loopback needs no question", 0, {.true_local = "127.9.9.9"}, 1, "unset", "127.9.9.9", 1},
        {"not redirected", 0, {.names_error = ENOENT}, 1, "unset", "127.0.0.1", 1},
        {"driver fails", 0, {.names_error = EIO}, -1, "unset", "", 1},
        {"no right to open", EACCES, {}, -1, "unset", "", 0},
    };
    loopback_connection c;
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        scripted_platform script;
        script.fw_open_error = row.open_error;
        script.on_fw_ioctl = row.driver;
        const sockaddr_in unset = end_of("6.6.6.6", 6);
        const auto text = [&](const sockaddr_in &end) {
            const std::string told = text_of_end(end);
            return told == text_of_end(unset) ? "unset" : told;
        };
        sockaddr_in dst = unset;
        socklen_t length = 7;
        EXPECT_EQ(row.code, vfw_getdstname(c.server, &dst, &length));
        EXPECT_EQ(row.dst, text(dst));
        EXPECT_EQ(row.code == 0 ? 16u : 7u, length);
        EXPECT_EQ(row.requests, script.fw_requests.size());
        if (row.requests == 2) {
            ASSERT_EQ(12u, script.fw_requests[1].record.size());
            EXPECT_EQ(LOCAL, script.fw_requests[1].request);
            EXPECT_EQ(-1, script.fw_requests[1].sock);
            EXPECT_EQ(inet_addr("10.9.9.9"), at<u32>(script.fw_requests[1].record, 0));
        }

        sockaddr_in peer = unset;
        dst = unset;
        u32 local = 0;
        EXPECT_EQ(row.code, vfw_getbothnames(c.server, &peer, &dst, &local));
        EXPECT_EQ(row.dst, text(dst));
        if (row.code >= 0) {
            EXPECT_EQ(row.local, dotted(local));
            const sockaddr_in plain = plain_end(getpeername, c.server);
            EXPECT_EQ(row.driver.names_error == 0 ? "10.8.8.8:808" : text_of_end(plain),
                      text(peer));
        } else {
            EXPECT_EQ("unset", text(peer));
            EXPECT_EQ(0u, local);
        }
    }
}

TEST(vfw_checklocal, asks_only_where_it_must)
{
    const struct {
        const char *label, *addr;
        int open_error;
        scripted_driver driver;
        int result;
        std::size_t requests;
    } cases[] = {
        {"foreign", "10.9.9.9", 0, {}, 0, 1},
        {"own", "10.9.9.9", 0, {.local_result = 1}, 1, 1},
        {"the driver's number", "10.9.9.9", 0, {.local_result = 0x102}, 0x102, 1},
        {"driver fails", "10.9.9.9", 0, {.local_error = EIO}, -1, 1},
        {"loopback", "127.200.0.1", 0, {}, 1, 0},
        {"below the loopback", "126.255.255.255", 0, {}, 0, 1},
        {"zero", "0.0.0.0", 0, {}, 1, 0},
        {"zero, but no device to open", "0.0.0.0", EACCES, {}, -1, 0},
        {"loopback, but no device to open", "127.0.0.1", EACCES, {}, -1, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.fw_open_error = c.open_error;
        script.on_fw_ioctl = c.driver;
        const sockaddr_in addr = end_of(c.addr, 0);
        EXPECT_EQ(c.result, vfw_checklocal(&addr));
        EXPECT_EQ(c.requests, script.fw_requests.size());
    }
}
