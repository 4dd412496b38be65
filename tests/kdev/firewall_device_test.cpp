// What the calls make of sockets and of the firewall driver's answers.
#include "lib/kdev/firewall_device.h"

#include "lib/kdev/firewall_names.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

#include <array>
#include <fcntl.h>

namespace
{

// A driver that knows true ends, or fails with an errno; half an answer comes with that.
struct scripted_driver {
    int error = 0, local_error = 0;
    std::int32_t local_result = 0;
    const char *true_local = "10.9.9.9";

    int operator()(unsigned long request, byte_area record) const
    {
        errno = error;
        if (request == 0xC0246610) {
            put_end(record, 4, "10.8.8.8", 808);
            put_end(record, 20, true_local, 909);
        } else if (request == 0xC0346612) {
            put_end(record, 16, "10.7.7.7", 707);
        } else {
            errno = local_error;
            store(record, 8, htonl(static_cast<u32>(local_result)));
        }
        return errno == 0 ? 0 : -1;
    }
};

// The requests that were made, a line each.
std::string requests(const scripted_platform &script)
{
    std::string text;
    for (const auto &[access, sock, number, record] : script.fw_requests) {
        EXPECT_EQ(O_RDONLY, access);
        EXPECT_EQ(record.size(), number >> 16 & 0x3FFF);
        if (number == 0xC0246610)
            text += "names of " + std::to_string(load<std::uint16_t>(record, 0) >> 8) + ' ' +
                    end_at(record, 4) + ' ' + end_at(record, 20) + '\n';
        else if (number == 0xC0346612)
            text += "fsa of " + std::to_string(ntohl(load<u32>(record, 48))) + ' ' +
                    end_at(record, 0) + ' ' + end_at(record, 16) + ' ' + end_at(record, 32) + '\n';
        else if (number == 0xC00C6611)
            text += "local " + dotted_at(record, 0) + '\n';
        EXPECT_EQ(sock == -1, number != 0xC0246610);
    }
    return text;
}

std::string near_end(int sock)
{
    return text_of_end(plain_end(getsockname, sock));
}

std::string protocol(int type)
{
    return type == SOCK_STREAM ? "6 " : "17 ";
}

const struct {
    int open_error, driver_error, code;
} roads[] = {
    {0, 0, 0},       {0, ENOENT, 0}, // not redirected
    {0, EIO, -1},    {EACCES, 0, -1},
    {ENOENT, 0, -1}, // no device: not to be taken for an unknown connection
};

} // namespace

TEST(firewall_device, names_are_those_of_the_driver)
{
    for (const auto &road : roads) {
        for (const int type : {SOCK_STREAM, SOCK_DGRAM}) {
            const test_socket other(bound_socket(type, "127.0.0.1"));
            const test_socket sock(connected_socket(type, plain_end(getsockname, other)));
            scripted_platform script;
            script.fw_open_error = road.open_error;
            script.on_fw_ioctl = scripted_driver{.error = road.driver_error};
            const bool is_true = road.open_error + road.driver_error == 0;
            sockaddr_in addr{};
            socklen_t length = sizeof addr;
            EXPECT_EQ(road.code, vfw_getpeername(sock, &addr, &length));
            EXPECT_EQ(is_true ? "10.8.8.8:808" : near_end(other), text_of_end(addr));
            EXPECT_EQ(road.code, vfw_getsockname(sock, &addr, &length));
            EXPECT_EQ(is_true ? "10.9.9.9:909" : near_end(sock), text_of_end(addr));
            EXPECT_EQ(16u, length);
            const std::string asked =
                "names of " + protocol(type) + near_end(other) + ' ' + near_end(sock) + '\n';
            EXPECT_EQ(road.open_error == 0 ? asked + asked : "", requests(script));
        }
    }
}

TEST(firewall_device, datagrams_have_both_ends)
{
    for (const auto &road : roads) {
        const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
        const test_socket sender(connected_socket(SOCK_DGRAM, plain_end(getsockname, receiver)));
        EXPECT_EQ(5, send(sender, "hello", 5, 0));
        scripted_platform script;
        script.fw_open_error = road.open_error;
        script.on_fw_ioctl = scripted_driver{.error = road.driver_error};
        const bool is_true = road.open_error + road.driver_error == 0;
        char text[8] = {};
        sockaddr_in from{}, to{};
        socklen_t length = 0;
        EXPECT_EQ(road.code == 0 ? 5 : -1,
                  vfw_recvfrom(receiver, text, sizeof text, 0, &from, &length, &to));
        EXPECT_EQ(is_true ? "10.8.8.8:808" : near_end(sender), text_of_end(from));
        EXPECT_STREQ("hello", text);
        EXPECT_EQ(16u, length);
        if (road.code == 0) {
            EXPECT_EQ(is_true ? "10.9.9.9:909" : near_end(receiver), text_of_end(to));
        }
        EXPECT_EQ(road.open_error == 0 ? "names of 17 " + near_end(sender) + " 0.0.0.0:0\n" : "",
                  requests(script));
    }
}

TEST(firewall_device, own_destinations_are_told_apart)
{
    const std::string local = "local 10.9.9.9\n";
    const struct {
        int open_error;
        scripted_driver driver;
        int code;
        const char *dst, *own; // of vfw_getdstname, and of vfw_getbothnames
        std::string asked = "";
    } cases[] = {
        {0, {}, 0, "10.9.9.9:909", "10.9.9.9", local},
        {0, {.local_result = -5}, 1, "0.0.0.0:0", "10.9.9.9", local},
        {0, {.local_error = EIO}, 1, "0.0.0.0:0", "10.9.9.9", local},
        {0, {.true_local = "127.9.9.9"}, 1, "0.0.0.0:0", "127.9.9.9"},
        {0, {.error = ENOENT}, 1, "0.0.0.0:0", "127.0.0.1"},
        {0, {.error = EIO}, -1, "0.0.0.0:0", "0.0.0.0"},
        {EACCES, {}, -1, "0.0.0.0:0", "0.0.0.0"},
    };
    const loopback_connection c;
    for (const auto &row : cases) {
        SCOPED_TRACE(std::to_string(row.driver.error) + row.own);
        scripted_platform script;
        script.fw_open_error = row.open_error;
        script.on_fw_ioctl = row.driver;
        const sockaddr_in unset = end_of("0.0.0.0", 0);
        sockaddr_in dst = unset, dst_too = unset, peer = unset;
        socklen_t length = 7;
        EXPECT_EQ(row.code, vfw_getdstname(c.server, &dst, &length));
        EXPECT_EQ(row.dst, text_of_end(dst));
        EXPECT_EQ(row.code == 0 ? 16u : 7u, length);
        const std::string names =
            "names of 6 " + near_end(c.client) + ' ' + near_end(c.server) + '\n';
        EXPECT_EQ(row.open_error == 0 ? names + row.asked : "", requests(script));
        u32 own = 0;
        EXPECT_EQ(row.code, vfw_getbothnames(c.server, &peer, &dst_too, &own));
        EXPECT_EQ(row.dst, text_of_end(dst_too));
        EXPECT_EQ(row.own, dotted(own));
        EXPECT_EQ(row.code == -1          ? "0.0.0.0:0"
                  : row.driver.error == 0 ? "10.8.8.8:808"
                                          : near_end(c.client),
                  text_of_end(peer));
    }
}

TEST(firewall_device, own_addresses_are_asked_for_where_it_must)
{
    const auto checked = [](const char *addr, int open_error, scripted_driver driver) {
        scripted_platform script;
        script.fw_open_error = open_error;
        script.on_fw_ioctl = driver;
        const sockaddr_in end = end_of(addr, 0);
        const int code = vfw_checklocal(&end);
        return std::to_string(code) + ' ' + requests(script);
    };
    EXPECT_EQ("0 local 10.9.9.9\n", checked("10.9.9.9", 0, {}));
    EXPECT_EQ("258 local 10.9.9.9\n", checked("10.9.9.9", 0, {.local_result = 0x102}));
    EXPECT_EQ("-1 local 10.9.9.9\n", checked("10.9.9.9", 0, {.local_error = EIO}));
    EXPECT_EQ("1 ", checked("127.9.9.9", 0, {}));
    EXPECT_EQ("1 ", checked("0.0.0.0", 0, {}));
    EXPECT_EQ("-1 ", checked("127.0.0.1", EACCES, {}));
}

TEST(vfw_bind_fsa, binds_then_tells_the_driver)
{
    const struct {
        int type;
        const char *addr;
        int open_error, driver_error;
    } cases[] = {
        {SOCK_STREAM, "127.0.0.1", 0, 0},      {SOCK_DGRAM, "127.0.0.1", 0, 0},
        {SOCK_STREAM, "0.0.0.0", 0, 0},        {SOCK_STREAM, "127.0.0.1", 0, EADDRINUSE},
        {SOCK_STREAM, "127.0.0.1", ENOENT, 0},
    };
    for (const auto &row : cases) {
        scripted_platform script;
        script.fw_open_error = row.open_error;
        script.on_fw_ioctl = scripted_driver{.error = row.driver_error};
        const int error = row.open_error + row.driver_error;
        const test_socket sock(socket(AF_INET, row.type | SOCK_CLOEXEC, 0));
        sockaddr_in addr = end_of(row.addr, 0), remote = end_of("10.2.3.4", 99);
        const sockaddr_in apparent = end_of("10.5.5.5", 55);
        errno = 0;
        EXPECT_EQ(error == 0 ? 0 : -1, vfw_bind_fsa(sock, &addr, &remote, &apparent));
        EXPECT_EQ(error, errno);
        EXPECT_EQ(error == 0 ? "10.7.7.7:707" : "10.2.3.4:99", text_of_end(remote));
        // The port that the system chose is known to the caller.
        EXPECT_NE(0, addr.sin_port);
        EXPECT_EQ(near_end(sock), text_of_end(addr));
        int reuse = -1;
        socklen_t length = sizeof reuse;
        EXPECT_EQ(0, getsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &reuse, &length));
        EXPECT_EQ(addr.sin_addr.s_addr == 0, reuse != 0);
        EXPECT_EQ(row.open_error != 0 ? ""
                                      : "fsa of " + protocol(row.type) +
                                            "10.5.5.5:55 10.2.3.4:99 " + near_end(sock) + '\n',
                  requests(script));
    }
}

TEST(vfw_sendto, apparent_sender_goes_through_the_driver)
{
    const sockaddr_in apparent = end_of("10.5.5.5", 55);
    const struct {
        int flags;
        const sockaddr_in *apparent;
        int open_error, driver_error, error;
    } cases[] = {
        {0, nullptr, 0, 0, 0},
        {0x02000000, &apparent, 0, 0, 0},
        {0x02000000, &apparent, 0, ENOENT, ENOENT},
        {0x02000000, &apparent, EACCES, 0, EACCES},
        {0x02000000, nullptr, 0, 0, EFAULT},
    };
    for (const auto &row : cases) {
        const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
        const test_socket sender(bound_socket(SOCK_DGRAM, "127.0.0.1"));
        scripted_platform script;
        script.fw_open_error = row.open_error;
        // Only the port is the driver's; the address stays.
        script.on_fw_ioctl = [&](unsigned long, byte_area record) {
            put_end(record, 16, "10.7.7.7", ntohs(plain_end(getsockname, receiver).sin_port));
            errno = row.driver_error;
            return row.driver_error == 0 ? 0 : -1;
        };
        sockaddr_in to = plain_end(getsockname, receiver);
        if (row.flags != 0)
            to.sin_port = htons(9);
        errno = 0;
        EXPECT_EQ(row.error == 0 ? 5 : -1,
                  vfw_sendto(sender, "hello", 5, row.flags, &to, sizeof to, row.apparent));
        EXPECT_EQ(row.error, errno);
        EXPECT_EQ(row.error == 0 ? near_end(receiver) : "127.0.0.1:9", text_of_end(to));
        char text[8];
        EXPECT_EQ(row.error == 0 ? 5 : -1, recv(receiver, text, 8, MSG_DONTWAIT));
        EXPECT_EQ(row.apparent == nullptr || row.open_error != 0
                      ? ""
                      : "fsa of 17 10.5.5.5:55 127.0.0.1:9 " + near_end(sender) + '\n',
                  requests(script));
    }
}

TEST(firewall_device, faults_of_the_caller_ask_no_driver)
{
    scripted_platform script;
    const test_socket listener(bound_socket(SOCK_STREAM, "127.0.0.1"));
    const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    sockaddr_in addr = end_of("127.0.0.1", 0), foreign = end_of("192.0.2.1", 0);
    socklen_t length = sizeof addr;
    char text[8];
    const std::pair<ssize_t, int> results[] = {
        {vfw_getpeername(listener, &addr, &length), ENOTCONN},
        {vfw_getdstname(listener, &addr, &length), ENOTCONN},
        {vfw_getsockname(-1, &addr, &length), EBADF},
        {vfw_recvfrom(receiver, text, 8, MSG_DONTWAIT, &addr, &length, &addr), EAGAIN},
    };
    for (const auto &[result, error] : results)
        EXPECT_EQ(-1, result) << error;
    EXPECT_EQ(-1, vfw_recvfrom(receiver, text, 8, MSG_DONTWAIT, nullptr, &length, &addr));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(-1, vfw_recvfrom(receiver, text, 8, MSG_DONTWAIT, &addr, nullptr, &addr));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(-1, vfw_recvfrom(receiver, text, 8, MSG_DONTWAIT, &addr, &length, nullptr));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(-1, vfw_bind_fsa(receiver, nullptr, &addr, &addr));
    EXPECT_EQ(-1, vfw_bind_fsa(receiver, &addr, nullptr, &addr));
    EXPECT_EQ(-1, vfw_bind_fsa(receiver, &addr, &addr, nullptr));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(-1, vfw_bind_fsa(-1, &addr, &addr, &addr));
    EXPECT_EQ(EBADF, errno);
    const test_socket fresh(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    EXPECT_EQ(-1, vfw_bind_fsa(fresh, &foreign, &addr, &addr));
    EXPECT_EQ(EADDRNOTAVAIL, errno);
    EXPECT_EQ(0, vfw_getsockname(listener, &addr, &length)); // not connected
    EXPECT_EQ(near_end(listener), text_of_end(addr));
    EXPECT_EQ("", requests(script));
}

TEST(vfw_addredirect, records_are_handed_through)
{
    std::array<std::uint8_t, 8> timer{1, 2};
    std::array<std::uint8_t, 12> redirect{1, 2};
    const struct {
        std::function<int()> call;
        unsigned long number;
        int access;
        byte_area record;
    } cases[] = {
        {[&] { return vfw_set_udp_timer(timer); }, 0xC0086614, O_RDONLY, timer},
        {[&] { return vfw_addredirect(redirect); }, 0xC00C6615, O_RDWR, redirect},
        {[&] { return vfw_delredirect(redirect); }, 0xC00C6616, O_RDWR, redirect},
    };
    for (const auto &row : cases) {
        scripted_platform script;
        script.on_fw_ioctl = [](unsigned long, byte_area record) {
            ++record[3]; // in the caller's record
            errno = EPERM;
            return record[3] % 2 == 1 ? 0 : -1;
        };
        row.record[3] = 6;
        EXPECT_EQ(0, row.call());
        EXPECT_EQ(-1, row.call());
        EXPECT_EQ(EPERM, errno);
        EXPECT_EQ(8, row.record[3]);
        ASSERT_EQ(2u, script.fw_requests.size());
        const auto &[access, sock, number, record] = script.fw_requests[0];
        EXPECT_EQ(row.number, number);
        EXPECT_EQ(row.access, access);
        EXPECT_EQ(row.record.size(), record.size());
        script.fw_open_error = ENXIO;
        EXPECT_EQ(-1, row.call());
        EXPECT_EQ(ENXIO, errno);
    }
}
