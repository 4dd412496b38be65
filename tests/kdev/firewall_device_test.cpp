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

// The requests that were made.
std::string requests(const scripted_platform &script)
{
    std::string text;
    for (const auto &[access, sock, number, record] : script.fw_requests) {
        EXPECT_EQ(record.size(), number >> 16 & 0x3FFF);
        EXPECT_EQ(sock == -1, number != 0xC0246610);
        if (number == 0xC0246610)
            text += "names of " + std::to_string(load<std::uint16_t>(record, 0) >> 8) + ' ' +
                    end_at(record, 4) + ' ' + end_at(record, 20) + '\n';
        else if (number == 0xC0346612)
            text += "fsa of " + std::to_string(ntohl(load<u32>(record, 48))) + ' ' +
                    end_at(record, 0) + ' ' + end_at(record, 16) + ' ' + end_at(record, 32) + '\n';
        else if (number == 0xC00C6611)
            text += "local " + dotted_at(record, 0) + '\n';
        else
            text += number == 0xC0086614   ? "timer "
                    : number == 0xC00C6615 ? "add "
                    : number == 0xC00C6616 ? "del "
                                           : "unknown ";
        text += access == O_RDWR ? "writing " : "";
    }
    return text;
}

std::string near_end(int sock)
{
    return text_of_end(plain_end(getsockname, sock));
}

// What the four name calls answer for the server's end of a connection, a line each.
std::string names_of(const loopback_connection &c, const scripted_platform &script)
{
    sockaddr_in ends[5] = {};
    for (sockaddr_in &end : ends)
        end = end_of("0.0.0.0", 0);
    socklen_t length = 0;
    u32 own = 0;
    const int codes[] = {vfw_getpeername(c.server, &ends[0], &length),
                         vfw_getsockname(c.server, &ends[1], &length),
                         vfw_getdstname(c.server, &ends[2], &length),
                         vfw_getbothnames(c.server, &ends[3], &ends[4], &own)};
    EXPECT_EQ(16u, length);
    std::string text;
    for (std::size_t i = 0; i < 5; ++i) {
        const std::string told = text_of_end(ends[i]);
        text += i < 4 ? std::to_string(codes[i]) + ' ' : "";
        text += told == near_end(c.client)   ? "client "
                : told == near_end(c.server) ? "server "
                                             : told + ' ';
    }
    const std::string asked = "names of 6 " + near_end(c.client) + ' ' + near_end(c.server) + '\n';
    const std::string requested = requests(script);
    for (std::size_t at = 0; (at = requested.find("names", at)) != std::string::npos; ++at)
        EXPECT_EQ(asked, requested.substr(at, asked.size()));
    return text + dotted(own);
}

} // namespace

TEST(firewall_device, names_are_those_of_the_driver)
{
    const loopback_connection c;
    const auto names = [&c](int open_error, const scripted_driver &driver) {
        scripted_platform script;
        script.fw_open_error = open_error;
        script.on_fw_ioctl = driver;
        return names_of(c, script);
    };
    const std::string known = "0 10.8.8.8:808 0 10.9.9.9:909 ", none = "0.0.0.0:0 ";
    EXPECT_EQ(known + "0 10.9.9.9:909 0 10.8.8.8:808 10.9.9.9:909 10.9.9.9", names(0, {}));
    const std::string own = known + "1 " + none + "1 10.8.8.8:808 " + none + "10.9.9.9";
    EXPECT_EQ(own, names(0, {.local_result = -5}));
    EXPECT_EQ(own, names(0, {.local_error = EIO}));
    EXPECT_EQ("0 10.8.8.8:808 0 127.9.9.9:909 1 0.0.0.0:0 1 10.8.8.8:808 0.0.0.0:0 127.9.9.9",
              names(0, {.true_local = "127.9.9.9"}));
    EXPECT_EQ("0 client 0 server 1 0.0.0.0:0 1 client 0.0.0.0:0 127.0.0.1",
              names(0, {.error = ENOENT})); // not redirected
    const std::string failed = "-1 client -1 server -1 " + none + "-1 " + none + none + "0.0.0.0";
    EXPECT_EQ(failed, names(0, {.error = EIO}));
    EXPECT_EQ(failed, names(EACCES, {}));
    EXPECT_EQ(failed, names(ENOENT, {})); // no device: not to be taken for a plain connection
}

TEST(firewall_device, datagrams_have_both_ends)
{
    const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    const test_socket sender(connected_socket(SOCK_DGRAM, plain_end(getsockname, receiver)));
    const auto received = [&](int open_error, int driver_error) {
        EXPECT_EQ(5, send(sender, "hello", 5, 0));
        scripted_platform script;
        script.fw_open_error = open_error;
        script.on_fw_ioctl = scripted_driver{.error = driver_error};
        char text[8] = {};
        sockaddr_in from{}, to = end_of("0.0.0.0", 0);
        socklen_t length = 0;
        const ssize_t count = vfw_recvfrom(receiver, text, 8, 0, &from, &length, &to);
        EXPECT_STREQ("hello", text);
        EXPECT_EQ(16u, length);
        EXPECT_EQ(open_error == 0 ? "names of 17 " + near_end(sender) + " 0.0.0.0:0\n" : "",
                  requests(script));
        return std::to_string(count) + ' ' + text_of_end(from) + ' ' + text_of_end(to);
    };
    EXPECT_EQ("5 10.8.8.8:808 10.9.9.9:909", received(0, 0));
    EXPECT_EQ("5 " + near_end(sender) + ' ' + near_end(receiver), received(0, ENOENT));
    EXPECT_EQ("-1 " + near_end(sender) + " 0.0.0.0:0", received(0, EIO));
    EXPECT_EQ("-1 " + near_end(sender) + " 0.0.0.0:0", received(ENOENT, 0));
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
    const sockaddr_in apparent = end_of("10.5.5.5", 55);
    const auto bound = [&](int type, const char *text, int open_error, int driver_error) {
        scripted_platform script;
        script.fw_open_error = open_error;
        script.on_fw_ioctl = scripted_driver{.error = driver_error};
        const test_socket sock(socket(AF_INET, type | SOCK_CLOEXEC, 0));
        sockaddr_in addr = end_of(text, 0), remote = end_of("10.2.3.4", 99);
        errno = 0;
        const int code = vfw_bind_fsa(sock, &addr, &remote, &apparent);
        EXPECT_EQ(open_error + driver_error, errno);
        EXPECT_NE(0, addr.sin_port); // the port that the system chose is known to the caller
        EXPECT_EQ(near_end(sock), text_of_end(addr));
        int reuse = -1;
        socklen_t length = sizeof reuse;
        EXPECT_EQ(0, getsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &reuse, &length));
        EXPECT_EQ(addr.sin_addr.s_addr == 0, reuse != 0);
        const std::string asked = requests(script), end = near_end(sock) + '\n';
        EXPECT_TRUE(asked.ends_with(asked.empty() ? "" : end));
        return std::to_string(code) + ' ' + text_of_end(remote) + ' ' +
               asked.substr(0, asked.empty() ? 0 : asked.size() - end.size());
    };
    const std::string moved = "0 10.7.7.7:707 ", kept = "-1 10.2.3.4:99 ";
    const std::string stream = "fsa of 6 10.5.5.5:55 10.2.3.4:99 ";
    EXPECT_EQ(moved + stream, bound(SOCK_STREAM, "127.0.0.1", 0, 0));
    EXPECT_EQ(moved + stream, bound(SOCK_STREAM, "0.0.0.0", 0, 0));
    EXPECT_EQ(moved + "fsa of 17 10.5.5.5:55 10.2.3.4:99 ", bound(SOCK_DGRAM, "127.0.0.1", 0, 0));
    EXPECT_EQ(kept + stream, bound(SOCK_STREAM, "127.0.0.1", 0, EADDRINUSE));
    EXPECT_EQ(kept, bound(SOCK_STREAM, "127.0.0.1", ENOENT, 0));
}

TEST(vfw_sendto, apparent_sender_goes_through_the_driver)
{
    const sockaddr_in apparent = end_of("10.5.5.5", 55);
    const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    const test_socket sender(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    const sockaddr_in there = plain_end(getsockname, receiver);
    const auto sent = [&](const sockaddr_in *seen, int open_error, int driver_error) {
        scripted_platform script;
        script.fw_open_error = open_error;
        // Only the port is the driver's; the address stays.
        script.on_fw_ioctl = [&](unsigned long, byte_area record) {
            put_end(record, 16, "10.7.7.7", ntohs(there.sin_port));
            errno = driver_error;
            return driver_error == 0 ? 0 : -1;
        };
        sockaddr_in to = end_of("127.0.0.1", 9);
        errno = 0;
        const ssize_t count = vfw_sendto(sender, "hello", 5, 0x02000000, &to, sizeof to, seen);
        const int error = errno;
        EXPECT_EQ(text_of_end(count == 5 ? there : end_of("127.0.0.1", 9)), text_of_end(to));
        char text[8];
        EXPECT_EQ(count, recv(receiver, text, 8, MSG_DONTWAIT));
        return std::to_string(error) + ' ' + requests(script);
    };
    const std::string asked = " fsa of 17 10.5.5.5:55 127.0.0.1:9 " + near_end(sender) + '\n';
    EXPECT_EQ("0" + asked, sent(&apparent, 0, 0));
    EXPECT_EQ(std::to_string(ENOENT) + asked, sent(&apparent, 0, ENOENT));
    EXPECT_EQ(std::to_string(EACCES) + ' ', sent(&apparent, EACCES, 0));
    EXPECT_EQ(std::to_string(EFAULT) + ' ', sent(nullptr, 0, 0));
}

TEST(firewall_device, faults_of_the_caller_ask_no_driver)
{
    scripted_platform script;
    const test_socket listener(bound_socket(SOCK_STREAM, "127.0.0.1"));
    const test_socket udp(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_in addr{}, foreign = end_of("192.0.2.1", 0);
    socklen_t length = sizeof addr;
    char text[8];
    const auto receive = [&](sockaddr_in *from, socklen_t *size, sockaddr_in *to) {
        return static_cast<int>(vfw_recvfrom(udp, text, 8, MSG_DONTWAIT, from, size, to));
    };
    const std::pair<int, std::function<int()>> cases[] = {
        {ENOTCONN, [&] { return vfw_getpeername(listener, &addr, &length); }},
        {ENOTCONN, [&] { return vfw_getdstname(listener, &addr, &length); }},
        {EBADF, [&] { return vfw_getsockname(-1, &addr, &length); }},
        {EAGAIN, [&] { return receive(&addr, &length, &addr); }},
        {EFAULT, [&] { return receive(nullptr, &length, &addr); }},
        {EFAULT, [&] { return receive(&addr, nullptr, &addr); }},
        {EFAULT, [&] { return receive(&addr, &length, nullptr); }},
        {EFAULT, [&] { return vfw_bind_fsa(udp, nullptr, &addr, &addr); }},
        {EFAULT, [&] { return vfw_bind_fsa(udp, &addr, nullptr, &addr); }},
        {EFAULT, [&] { return vfw_bind_fsa(udp, &addr, &addr, nullptr); }},
        {EBADF, [&] { return vfw_bind_fsa(-1, &addr, &addr, &addr); }},
        {EADDRNOTAVAIL, [&] { return vfw_bind_fsa(udp, &foreign, &addr, &addr); }},
    };
    for (const auto &[error, call] : cases) {
        EXPECT_EQ(-1, call());
        EXPECT_EQ(error, errno);
    }
    EXPECT_EQ(0, vfw_getsockname(listener, &addr, &length)); // not connected
    EXPECT_EQ(near_end(listener), text_of_end(addr));
    EXPECT_EQ("", requests(script));
}

TEST(vfw_addredirect, records_are_handed_through)
{
    std::array<std::uint8_t, 8> timer{};
    std::array<std::uint8_t, 12> redirect{};
    scripted_platform script;
    int error = 0;
    script.on_fw_ioctl = [&error](unsigned long, byte_area record) {
        ++record.back(); // in the caller's record
        errno = error;
        return error == 0 ? 0 : -1;
    };
    for (const int code : {0, -1}) {
        error = code == 0 ? 0 : EPERM;
        EXPECT_EQ(code, vfw_set_udp_timer(timer));
        EXPECT_EQ(code, vfw_addredirect(redirect));
        EXPECT_EQ(code, vfw_delredirect(redirect));
        EXPECT_EQ(error, code == 0 ? 0 : errno);
    }
    EXPECT_EQ(2, timer.back());
    EXPECT_EQ(4, redirect.back());
    const std::string asked = "timer add writing del writing ";
    EXPECT_EQ(asked + asked, requests(script));
    script.fw_open_error = ENXIO;
    EXPECT_EQ(-1, vfw_addredirect(redirect));
    EXPECT_EQ(ENXIO, errno);
}
