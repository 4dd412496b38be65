#include "lib/kdev/firewall_device.h"

#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

#include <array>
#include <fcntl.h>

namespace
{

constexpr unsigned long FSA = 0xC0346612;

// A driver that sends the far end elsewhere, or fails with `error`.
auto moves_remote(int error)
{
    return [error](unsigned long, byte_area record) {
        put_end(record, 16, "10.7.7.7", 707);
        errno = error;
        return error == 0 ? 0 : -1;
    };
}

// Sends "hello" to `receiver` and returns the sender's end.
std::string send_hello(const test_socket &sender, const test_socket &receiver)
{
    const sockaddr_in to = plain_end(getsockname, receiver);
    EXPECT_EQ(5, sendto(sender, "hello", 5, 0, generic(to), sizeof to));
    return text_of_end(plain_end(getsockname, sender));
}

} // namespace

TEST(vfw_bind_fsa, binds_then_tells_the_driver)
{
    const struct {
        const char *label;
        int type;
        const char *addr;
        int open_error, driver_error, code;
        u32 proto;
    } cases[] = {
        {"stream", SOCK_STREAM, "127.0.0.1", 0, 0, 0, 6},
        {"datagram", SOCK_DGRAM, "127.0.0.1", 0, 0, 0, 17},
        {"any address", SOCK_STREAM, "0.0.0.0", 0, 0, 0, 6},
        {"driver fails", SOCK_STREAM, "127.0.0.1", 0, EADDRINUSE, -1, 6},
        {"no device", SOCK_STREAM, "127.0.0.1", ENOENT, 0, -1, 6},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.fw_open_error = c.open_error;
        script.on_fw_ioctl = moves_remote(c.driver_error);
        const test_socket sock(socket(AF_INET, c.type | SOCK_CLOEXEC, 0));
        sockaddr_in addr = end_of(c.addr, 0), remote = end_of("10.2.3.4", 99);
        const sockaddr_in apparent = end_of("10.5.5.5", 55);
        EXPECT_EQ(c.code, vfw_bind_fsa(sock, &addr, &remote, &apparent));
        if (c.code != 0) {
            EXPECT_EQ(c.open_error + c.driver_error, errno);
        }
        EXPECT_EQ(c.code == 0 ? "10.7.7.7:707" : "10.2.3.4:99", text_of_end(remote));
        // The port that the system chose is known to the caller.
        EXPECT_EQ(text_of_end(plain_end(getsockname, sock)), text_of_end(addr));
        EXPECT_NE(0, addr.sin_port);
        int reuse = -1;
        socklen_t length = sizeof reuse;
        EXPECT_EQ(0, getsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &reuse, &length));
        EXPECT_EQ(addr.sin_addr.s_addr == 0, reuse != 0);

        ASSERT_EQ(c.open_error == 0 ? 1u : 0u, script.fw_requests.size());
        if (c.open_error != 0)
            continue;
        const auto &asked = script.fw_requests[0];
        EXPECT_EQ(FSA, asked.request);
        EXPECT_EQ(O_RDONLY, asked.access);
        ASSERT_EQ(52u, asked.record.size());
        EXPECT_EQ("10.5.5.5:55", end_at(asked.record, 0));
        EXPECT_EQ("10.2.3.4:99", end_at(asked.record, 16));
        EXPECT_EQ(text_of_end(addr), end_at(asked.record, 32));
        EXPECT_EQ(htonl(c.proto), at<u32>(asked.record, 48));
    }
}

TEST(vfw_bind_fsa, refused_before_the_device)
{
    scripted_platform script;
    const test_socket sock(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in addr = end_of("127.0.0.1", 0), remote = end_of("10.2.3.4", 99);
    sockaddr_in foreign = end_of("192.0.2.1", 0);
    const struct {
        const char *label;
        int sock;
        sockaddr_in *addr, *remote, *apparent;
        int error;
    } cases[] = {
        {"no address", sock, nullptr, &remote, &remote, EFAULT},
        {"no remote", sock, &addr, nullptr, &remote, EFAULT},
        {"no apparent", sock, &addr, &remote, nullptr, EFAULT},
        {"no socket", -1, &addr, &remote, &remote, EBADF},
        {"foreign address", sock, &foreign, &remote, &remote, EADDRNOTAVAIL},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        EXPECT_EQ(-1, vfw_bind_fsa(c.sock, c.addr, c.remote, c.apparent));
        EXPECT_EQ(c.error, errno);
    }
    EXPECT_EQ(0, plain_end(getsockname, sock).sin_port);
    EXPECT_EQ(0, script.fw_opens);
}

TEST(vfw_recvfrom, gives_both_ends_of_a_datagram)
{
    const struct {
        const char *label;
        int open_error, driver_error;
        ssize_t count;
        bool is_true_name;
    } cases[] = {
        {"redirected", 0, 0, 5, true},       {"not redirected", 0, ENOENT, 5, false},
        {"driver fails", 0, EIO, -1, false}, {"no right to open", EACCES, 0, -1, false},
        {"no device", ENOENT, 0, -1, false},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.fw_open_error = c.open_error;
        script.on_fw_ioctl = [&c](unsigned long, byte_area record) {
            put_end(record, 4, "10.8.8.8", 808);
            put_end(record, 20, "10.9.9.9", 909);
            errno = c.driver_error;
            return c.driver_error == 0 ? 0 : -1;
        };
        const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
        const test_socket sender(bound_socket(SOCK_DGRAM, "127.0.0.1"));
        const std::string sent_by = send_hello(sender, receiver);
        char text[8] = {};
        sockaddr_in from{}, to{};
        socklen_t length = sizeof from;
        EXPECT_EQ(c.count, vfw_recvfrom(receiver, text, sizeof text, 0, &from, &length, &to));
        EXPECT_EQ(c.is_true_name ? "10.8.8.8:808" : sent_by, text_of_end(from));
        EXPECT_STREQ("hello", text);
        EXPECT_EQ(16u, length);
        if (c.count > 0) {
            const sockaddr_in plain = plain_end(getsockname, receiver);
            EXPECT_EQ(c.is_true_name ? "10.9.9.9:909" : text_of_end(plain), text_of_end(to));
        }
        if (c.open_error != 0)
            continue;
        ASSERT_EQ(1u, script.fw_requests.size());
        EXPECT_EQ(receiver, script.fw_requests[0].sock);
        const byte_list &asked = script.fw_requests[0].record;
        EXPECT_EQ(htons(17), at<std::uint16_t>(asked, 0));
        EXPECT_EQ(sent_by, end_at(asked, 4));
        EXPECT_EQ("0.0.0.0:0", end_at(asked, 20));
    }
}

TEST(vfw_recvfrom, refused_before_the_datagram)
{
    scripted_platform script;
    const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    sockaddr_in from{}, to{};
    socklen_t length = sizeof from;
    char text[8];
    EXPECT_EQ(-1, vfw_recvfrom(receiver, text, 8, MSG_DONTWAIT, &from, &length, &to));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(-1, vfw_recvfrom(receiver, text, 8, MSG_DONTWAIT, nullptr, &length, &to));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(-1, vfw_recvfrom(receiver, text, 8, MSG_DONTWAIT, &from, nullptr, &to));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(-1, vfw_recvfrom(receiver, text, 8, MSG_DONTWAIT, &from, &length, nullptr));
    EXPECT_EQ(EFAULT, errno);
    EXPECT_EQ(0, script.fw_opens);
}

TEST(vfw_sendto, apparent_sender_goes_through_the_driver)
{
    const sockaddr_in apparent = end_of("10.5.5.5", 55);
    const struct {
        const char *label;
        int flags;
        const sockaddr_in *apparent;
        int open_error, driver_error;
        ssize_t count;
        int error;
        std::size_t requests;
    } cases[] = {
        {"plain", 0, nullptr, 0, 0, 5, 0, 0},
        {"apparent", 0x02000000, &apparent, 0, 0, 5, 0, 1},
        {"driver fails", 0x02000000, &apparent, 0, ENOENT, -1, ENOENT, 1},
        {"no device", 0x02000000, &apparent, EACCES, 0, -1, EACCES, 0},
        {"no apparent sender", 0x02000000, nullptr, 0, 0, -1, EFAULT, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        const test_socket asked_for(bound_socket(SOCK_DGRAM, "127.0.0.1"));
        const test_socket chosen(bound_socket(SOCK_DGRAM, "127.0.0.1"));
        const test_socket sender(bound_socket(SOCK_DGRAM, "127.0.0.1"));
        const sockaddr_in first = plain_end(getsockname, asked_for);
        const sockaddr_in second = plain_end(getsockname, chosen);

        scripted_platform script;
        script.fw_open_error = c.open_error;
        script.on_fw_ioctl = [&](unsigned long, byte_area record) {
            put_end(record, 16, "10.7.7.7", ntohs(second.sin_port));
            errno = c.driver_error;
            return c.driver_error == 0 ? 0 : -1;
        };
        sockaddr_in to = first;
        EXPECT_EQ(c.count, vfw_sendto(sender, "hello", 5, c.flags, &to, sizeof to, c.apparent));
        if (c.count < 0) {
            EXPECT_EQ(c.error, errno);
        }
        // Only the port is the driver's; the address stays.
        const bool moved = c.count > 0 && c.requests > 0;
        EXPECT_EQ(text_of_end(moved ? second : first), text_of_end(to));
        char text[8];
        EXPECT_EQ(c.count > 0 && !moved ? 5 : -1, recv(asked_for, text, 8, MSG_DONTWAIT));
        EXPECT_EQ(moved ? 5 : -1, recv(chosen, text, 8, MSG_DONTWAIT));

        ASSERT_EQ(c.requests, script.fw_requests.size());
        if (c.requests == 0)
            continue;
        const auto &asked = script.fw_requests[0];
        EXPECT_EQ(FSA, asked.request);
        EXPECT_EQ("10.5.5.5:55", end_at(asked.record, 0));
        EXPECT_EQ(text_of_end(first), end_at(asked.record, 16));
        EXPECT_EQ(text_of_end(plain_end(getsockname, sender)), end_at(asked.record, 32));
        EXPECT_EQ(htonl(17), at<u32>(asked.record, 48));
    }
}

TEST(vfw_addredirect, records_are_handed_through)
{
    std::array<std::uint8_t, 8> timer;
    std::array<std::uint8_t, 12> redirect;
    const struct {
        const char *label;
        std::function<int()> call;
        unsigned long request;
        int access;
        byte_area record;
    } cases[] = {
        {"timer", [&] { return vfw_set_udp_timer(timer); }, 0xC0086614, O_RDONLY, timer},
        {"add", [&] { return vfw_addredirect(redirect); }, 0xC00C6615, O_RDWR, redirect},
        {"del", [&] { return vfw_delredirect(redirect); }, 0xC00C6616, O_RDWR, redirect},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.on_fw_ioctl = [](unsigned long, byte_area record) {
            record[3] = 33;
            return 0;
        };
        for (std::size_t i = 0; i < c.record.size(); ++i)
            c.record[i] = static_cast<std::uint8_t>(i);
        const byte_list before(c.record.begin(), c.record.end());
        EXPECT_EQ(0, c.call());
        ASSERT_EQ(1u, script.fw_requests.size());
        EXPECT_EQ(c.request, script.fw_requests[0].request);
        EXPECT_EQ(c.access, script.fw_requests[0].access);
        EXPECT_EQ(before, script.fw_requests[0].record);
        EXPECT_EQ(33, c.record[3]); // the driver wrote into the caller's record

        script.on_fw_ioctl = [](unsigned long, byte_area) {
            errno = EPERM;
            return -1;
        };
        EXPECT_EQ(-1, c.call());
        EXPECT_EQ(EPERM, errno);
        script.fw_open_error = ENXIO;
        EXPECT_EQ(-1, c.call());
        EXPECT_EQ(ENXIO, errno);
    }
}
