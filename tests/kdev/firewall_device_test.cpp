// What the calls make of sockets and of the firewall driver's answers.
#include "lib/kdev/firewall_device.h"

#include "lib/kdev/firewall_names.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/scripted_platform.h"

#include <array>
#include <fcntl.h>

using namespace flatlink;

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
        EXPECT_EQ(number >> 16 & 0x3FFF, record.size());
        EXPECT_EQ(number != 0xC0246610, sock == -1);
        text += access == O_RDWR ? "writing " : "";
        if (number == 0xC0246610)
            text += "names of " + std::to_string(load<std::uint16_t>(record, 0) >> 8) + ' ' +
                    end_at(record, 4) + ' ' + end_at(record, 20) + '\n';
        else if (number == 0xC0346612)
            text += "fsa of " + std::to_string(ntohl(load<u32>(record, 48))) + ' ' +
                    end_at(record, 0) + ' ' + end_at(record, 16) + ' ' + end_at(record, 32) + '\n';
        else
            text += "request " + std::to_string(number & 0xFF) + ' ' + dotted_at(record, 0) + '\n';
    }
    return text;
}

std::string near_end(int sock)
{
    return text_of_end(plain_end(getsockname, sock));
}

// What the four name calls answer for the server's end of a connection.
std::string names_of(const loopback_connection &c, int open_error, const scripted_driver &driver)
{
    scripted_platform script;
    script.fw_open_error = open_error;
    script.on_fw_ioctl = driver;
    sockaddr_in end, dst = end_of("0.0.0.0", 0);
    socklen_t length = 0;
    u32 own = 0;
    std::string text;
    const auto add = [&](int code) {
        text += std::to_string(code) + ' ' + text_of_end(end) + ' ';
        end = end_of("0.0.0.0", 0);
    };
    add(vfw_getpeername(c.server, &end, &length));
    add(vfw_getsockname(c.server, &end, &length));
    sockaddr_in peer = end, local = end;
    const int code = vfw_getends(c.server, &peer, &local);
    const std::string result = std::to_string(code) + ' ';
    const std::string ends = result + text_of_end(peer) + ' ' + result + text_of_end(local) + ' ';
    EXPECT_EQ(result, text.substr(0, result.size()));
    EXPECT_TRUE(code != 0 || text == ends) << ends;
    add(vfw_getdstname(c.server, &end, &length));
    add(vfw_getbothnames(c.server, &end, &dst, &own));
    EXPECT_EQ(length, 16u);
    const std::string asked = "names of 6 " + near_end(c.client) + ' ' + near_end(c.server) + '\n';
    EXPECT_TRUE(requests(script).starts_with(open_error != 0 ? "" : asked + asked + asked + asked));
    return text + text_of_end(dst) + ' ' + format_address(own);
}

} // namespace

TEST(FirewallDevice, NamesAreThoseOfTheDriver)
{
    const loopback_connection c;
    const std::string client = near_end(c.client), server = near_end(c.server);
    const std::string known = "0 10.8.8.8:808 0 10.9.9.9:909 ", none = "0.0.0.0:0 ";
    EXPECT_EQ(names_of(c, 0, {}), known + "0 10.9.9.9:909 0 10.8.8.8:808 10.9.9.9:909 10.9.9.9");
    EXPECT_EQ(names_of(c, 0, {.local_error = EIO}),
              known + "1 " + none + "1 10.8.8.8:808 " + none + "10.9.9.9");
    EXPECT_EQ(names_of(c, 0, {.true_local = "127.9.9.9"}),
              "0 10.8.8.8:808 0 127.9.9.9:909 1 0.0.0.0:0 1 10.8.8.8:808 0.0.0.0:0 127.9.9.9");
    EXPECT_EQ(names_of(c, 0, {.error = ENOENT}), "0 " + client + " 0 " + server + " 1 " + none +
                                                     "1 " + client +
                                                     " 0.0.0.0:0 127.0.0.1"); // not redirected
    const std::string failed =
        "-1 " + client + " -1 " + server + " -1 " + none + "-1 " + none + none + "0.0.0.0";
    EXPECT_EQ(names_of(c, 0, {.error = EIO}), failed);
    EXPECT_EQ(names_of(c, ENOENT, {}), failed); // no device: not to be taken for a plain connection
}

TEST(FirewallDevice, DatagramsHaveBothEnds)
{
    const loopback_datagrams d;
    const auto received = [&](int open_error, int driver_error) {
        EXPECT_EQ(send(d.sender, "hello", 5, 0), 5);
        scripted_platform script;
        script.fw_open_error = open_error;
        script.on_fw_ioctl = scripted_driver{.error = driver_error};
        char text[8] = {};
        sockaddr_in from{}, to = end_of("0.0.0.0", 0);
        socklen_t length = 0;
        const ssize_t count = vfw_recvfrom(d.receiver, text, 8, 0, &from, &length, &to);
        EXPECT_STREQ(text, "hello");
        EXPECT_EQ(length, 16u);
        EXPECT_EQ(requests(script),
                  open_error == 0 ? "names of 17 " + near_end(d.sender) + " 0.0.0.0:0\n" : "");
        return std::to_string(count) + ' ' + text_of_end(from) + ' ' + text_of_end(to);
    };
    EXPECT_EQ(received(0, 0), "5 10.8.8.8:808 10.9.9.9:909");
    EXPECT_EQ(received(0, ENOENT), "5 " + near_end(d.sender) + ' ' + near_end(d.receiver));
    EXPECT_EQ(received(0, EIO), "-1 " + near_end(d.sender) + " 0.0.0.0:0");
    EXPECT_EQ(received(ENOENT, 0), "-1 " + near_end(d.sender) + " 0.0.0.0:0");
}

TEST(FirewallDevice, OwnAddressesAreAskedForWhereItMust)
{
    const auto checked = [](const char *addr, int open_error, scripted_driver driver) {
        scripted_platform script;
        script.fw_open_error = open_error;
        script.on_fw_ioctl = driver;
        const sockaddr_in end = end_of(addr, 0);
        const int code = vfw_checklocal(&end);
        return std::to_string(code) + ' ' + requests(script);
    };
    EXPECT_EQ(checked("10.9.9.9", 0, {.local_result = 0x102}), "258 request 17 10.9.9.9\n");
    EXPECT_EQ(checked("10.9.9.9", 0, {.local_error = EIO}), "-1 request 17 10.9.9.9\n");
    EXPECT_EQ(checked("127.9.9.9", 0, {}) + checked("0.0.0.0", 0, {}), "1 1 ");
    EXPECT_EQ(checked("127.0.0.1", EACCES, {}), "-1 ");
}

TEST(VfwBindFsa, BindsThenTellsTheDriver)
{
    const sockaddr_in apparent = end_of("10.5.5.5", 55);
    const auto bound = [&](int type, const char *text, int open_error, int driver_error) {
        scripted_platform script;
        script.fw_open_error = open_error;
        script.on_fw_ioctl = scripted_driver{.error = driver_error};
        const test_socket sock(socket(AF_INET, type | SOCK_CLOEXEC, 0));
        sockaddr_in addr = end_of(text, 0), remote = end_of("10.2.3.4", 99);
        const int code = vfw_bind_fsa(sock, &addr, &remote, &apparent);
        EXPECT_NE(addr.sin_port, 0); // the port that the system chose is known to the caller
        EXPECT_EQ(text_of_end(addr), near_end(sock));
        int reuse = -1;
        socklen_t length = sizeof reuse;
        EXPECT_EQ(getsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &reuse, &length), 0);
        EXPECT_EQ(reuse != 0, addr.sin_addr.s_addr == 0);
        const std::string asked = requests(script);
        return std::to_string(code) + ' ' + text_of_end(remote) + ' ' +
               asked.substr(0, asked.find(near_end(sock)));
    };
    const std::string moved = "0 10.7.7.7:707 ", kept = "-1 10.2.3.4:99 ";
    const std::string stream = "fsa of 6 10.5.5.5:55 10.2.3.4:99 ";
    EXPECT_EQ(bound(SOCK_STREAM, "0.0.0.0", 0, 0), moved + stream);
    EXPECT_EQ(bound(SOCK_DGRAM, "127.0.0.1", 0, 0), moved + "fsa of 17 10.5.5.5:55 10.2.3.4:99 ");
    EXPECT_EQ(bound(SOCK_STREAM, "127.0.0.1", 0, EADDRINUSE), kept + stream);
    EXPECT_EQ(bound(SOCK_STREAM, "127.0.0.1", ENOENT, 0), kept);
}

TEST(VfwSendto, ApparentSenderGoesThroughTheDriver)
{
    const sockaddr_in apparent = end_of("10.5.5.5", 55);
    const loopback_datagrams d;
    const sockaddr_in there = plain_end(getsockname, d.receiver);
    const auto sent = [&](const sockaddr_in *seen, int driver_error) {
        scripted_platform script;
        // Only the port is the driver's; the address stays.
        script.on_fw_ioctl = [&](unsigned long, byte_area record) {
            put_end(record, 16, "10.7.7.7", ntohs(there.sin_port));
            errno = driver_error;
            return driver_error == 0 ? 0 : -1;
        };
        sockaddr_in to = end_of("127.0.0.1", 9);
        const ssize_t count = vfw_sendto(d.sender, "hello", 5, 0x02000000, &to, sizeof to, seen);
        EXPECT_EQ(text_of_end(to), text_of_end(count == 5 ? there : end_of("127.0.0.1", 9)));
        char text[8];
        EXPECT_EQ(recv(d.receiver, text, 8, MSG_DONTWAIT), count);
        return std::to_string(count) + ' ' + requests(script);
    };
    const std::string asked = " fsa of 17 10.5.5.5:55 127.0.0.1:9 " + near_end(d.sender) + '\n';
    EXPECT_EQ(sent(&apparent, 0), "5" + asked);
    EXPECT_EQ(sent(&apparent, ENOENT), "-1" + asked);
    EXPECT_EQ(sent(nullptr, 0), "-1 ");
}

TEST(FirewallDevice, FaultsOfTheCallerAskNoDriver)
{
    scripted_platform script;
    const test_socket listener(socket_at(bind, SOCK_STREAM, end_of("127.0.0.1", 0)));
    sockaddr_in addr{}, foreign = end_of("192.0.2.1", 0);
    socklen_t length = sizeof addr;
    char text[8];
    EXPECT_EQ(vfw_getpeername(listener, &addr, &length), -1);
    EXPECT_EQ(vfw_getdstname(listener, &addr, &length), -1);
    EXPECT_EQ(vfw_getsockname(-1, &addr, &length), -1);
    EXPECT_EQ(vfw_recvfrom(listener, text, 8, 0, &addr, &length, &addr), -1);
    EXPECT_EQ(vfw_recvfrom(listener, text, 8, 0, &addr, nullptr, &addr), -1);
    EXPECT_EQ(vfw_bind_fsa(listener, &addr, &addr, nullptr), -1);
    EXPECT_EQ(vfw_bind_fsa(listener, &foreign, &addr, &addr), -1);
    EXPECT_EQ(vfw_getsockname(listener, &addr, &length), 0); // not connected
    EXPECT_EQ(text_of_end(addr), near_end(listener));
    EXPECT_EQ(requests(script), "");
}

TEST(VfwAddredirect, RecordsAreHandedThrough)
{
    std::array<std::uint8_t, 8> timer{};
    std::array<std::uint8_t, 12> redirect{};
    scripted_platform script;
    script.on_fw_ioctl = [](unsigned long request, byte_area record) {
        ++record.back(); // in the caller's record
        return request == 0xC00C6616 ? -1 : 7;
    };
    EXPECT_EQ(vfw_set_udp_timer(timer) + vfw_addredirect(redirect), 0);
    EXPECT_EQ(vfw_delredirect(redirect), -1);
    EXPECT_EQ(timer.back() + redirect.back(), 3);
    EXPECT_EQ(requests(script),
              "request 20 0.0.0.0\nwriting request 21 0.0.0.0\nwriting request 22 0.0.0.0\n");
}
