// Messages to the routing socket and to the VPN driver, and what their answers are taken for.
#include "lib/kdev/route_access.h"

#include "lib/kdev/vpn_device.h"
#include "tests/kdev/scripted_platform.h"

#include <array>
#include <cstring>

using namespace flatlink;

namespace
{

byte_list reply_with(std::size_t offset, std::int32_t value, std::size_t size_bytes = 392)
{
    byte_list reply = route_reply("10.2.0.0", "10.1.0.9", "255.255.0.0", "10.1.0.1");
    store(reply, offset, value);
    reply.resize(size_bytes);
    return reply;
}

const byte_list usual = reply_with(24, 0), stranger = reply_with(16, 1);

// What was written from the message `from` on, a line each: what, flags, addresses that follow.
std::string written(const scripted_platform &script, std::size_t from = 0)
{
    std::string text;
    for (std::size_t i = from; i < script.written.size(); ++i) {
        const byte_list &m = script.written[i];
        EXPECT_EQ(load<u32>(m, 0) & 0xFFFFFF, m.size() | 3 << 16);
        EXPECT_EQ(load<std::int32_t>(m, 12), m[3] == 4 ? 49 : m.size() == 108 ? 3 : 7);
        EXPECT_EQ((load<std::array<pid_t, 2>>(m, 16)), (std::array{getpid(), gettid()}));
        text += m[3] == 1 ? "add " : m[3] == 2 ? "remove " : "get ";
        text += std::to_string(load<std::int32_t>(m, 8));
        for (std::size_t at = 76; at < m.size(); at += 16)
            text += (m[at] == AF_INET ? " " : " no family ") + dotted_at(m, at + 4);
        text += '\n';
    }
    return text;
}

// A link command, and what the kernel makes of it; texts are addresses.
struct test_link {
    std::uint8_t flags = 0x10;
    const char *start = "192.168.1.0";
    const char *delimiter = "255.255.255.0";
    std::uint8_t type = 4;
    const char *local = "10.1.0.1";
    std::uint8_t command = 1;
    const char *hop = "10.1.0.9"; // of the route to the remote gateway
    int driver_result = 0, lookup_error = 0, add_error = 0;
};

// The result of the command, the local address, and what was written; a line for the driver's turn.
std::string linked(const test_link &l)
{
    // The network stands where the flag bit says; the other one holds a decoy.
    vpn_message message{};
    const std::size_t at = (l.flags & 0x10) != 0 ? 0 : 4, type_at = at == 0 ? 56 : 57;
    message[3] = l.command;
    message[10] = l.flags;
    store(message, 32 - at, inet_addr("172.16.0.0"));
    store(message, 48 - at, inet_addr("255.240.0.0"));
    store(message, 28 + at, inet_addr(l.start));
    store(message, 44 + at, inet_addr(l.delimiter));
    message[type_at] = l.type;
    message[113 - type_at] = l.type == 7 ? 4 : 7;
    store(message, 36, inet_addr("10.2.3.4"));
    store(message, 40, inet_addr(l.local));

    const byte_list reply = route_reply("10.2.0.0", l.hop, "255.255.0.0", "10.1.0.1");
    scripted_platform script;
    script.readings = {reply, reply};
    script.on_route_write = [&l](byte_view m) { return m[3] == 4 ? l.lookup_error : l.add_error; };
    std::string ahead;
    script.on_vpn_ioctl = [&](unsigned long request, byte_area asked) {
        EXPECT_EQ(request, 0xC0004701);
        ahead = written(script) + dotted_at(asked, 40) + " to the driver\n";
        script.written.clear();
        // The driver writes over both networks; the routes must be those asked for.
        store(asked, 28, std::uint64_t{0});
        return l.driver_result;
    };
    const int code = vvpn_ioctl(42, 0xC0004701, message);
    return std::to_string(code) + ' ' + dotted_at(message, 40) + '\n' + ahead + written(script);
}

} // namespace

TEST(RaGetRouteAddress, JudgesWhatItReads)
{
    // The code, the error, the number of messages that stay unread, and the address or what was
    // there.
    const auto looked_up = [](const std::deque<byte_list> &messages, int write_error = 0,
                              int open_error = 0) {
        scripted_platform script;
        script.readings = messages;
        script.route_open_error = open_error;
        script.on_route_write = [write_error](byte_view) { return write_error; };
        u32 found = inet_addr("0.0.0.5");
        errno = 0;
        const int code = ra_get_route_address(inet_addr("10.2.3.4"), &found);
        const std::string error = code == RA_DONE ? "" : strerrorname_np(errno);
        EXPECT_EQ(written(script), open_error == 0 ? "get 0 10.2.3.4\n" : "");
        return std::to_string(code) + error + ' ' + std::to_string(script.readings.size()) + ' ' +
               format_address(found);
    };
    byte_list longer = stranger; // of which nothing stays
    longer.resize(1024, 0xAA);
    EXPECT_EQ(looked_up({stranger, reply_with(20, 1), usual, usual}), "0 1 10.1.0.1");
    EXPECT_EQ(looked_up({stranger, stranger, stranger, usual}), "1EIO 1 0.0.0.5");
    EXPECT_EQ(looked_up({}), "1EAGAIN 0 0.0.0.5");
    EXPECT_EQ(looked_up({reply_with(24, ENETDOWN), usual}), "1EIO 1 0.0.0.5"); // error inside
    EXPECT_EQ(looked_up({reply_with(8, 0x801)}), "1EIO 0 0.0.0.5");            // not done
    for (const int addrs : {0x36, 0x35, 0x33, 0x27})                           // one is missing
        EXPECT_EQ(looked_up({reply_with(12, addrs)}), "1EIO 0 0.0.0.5");
    EXPECT_EQ(looked_up({longer, reply_with(12, 0x17, 376)}), "0 0 0.0.0.0"); // no source
    EXPECT_EQ(looked_up({reply_with(12, 0x17, 375)}), "1EIO 0 0.0.0.5");
    EXPECT_EQ(looked_up({reply_with(12, 0x37, 391)}), "1EIO 0 0.0.0.5");
    EXPECT_EQ(looked_up({reply_with(12, 0x37, 18), usual}), "0 0 10.1.0.1"); // another sender
    EXPECT_EQ(looked_up({usual}, ESRCH), "2ESRCH 1 0.0.0.5");
    EXPECT_EQ(looked_up({usual}, EPERM), "1EPERM 1 0.0.0.5");
    EXPECT_EQ(looked_up({usual}, -2), "1EIO 1 0.0.0.5");
    EXPECT_EQ(looked_up({usual}, 0, ESRCH), "1ESRCH 1 0.0.0.5");
}

TEST(RaGetRouteInterface, CutsLongNames)
{
    const auto name_of = [](int length, std::size_t room) {
        scripted_platform script;
        byte_list reply = usual;
        reply[124 + 5] = static_cast<std::uint8_t>(length);
        std::ranges::copy(std::string("abcdefghijklmnopqrstuvwxyz"), reply.begin() + 124 + 8);
        script.readings = {reply};
        // Exactly the room, so that the sanitizer sees a byte too many.
        std::vector<char> name(room, '?');
        EXPECT_EQ(ra_get_route_interface(inet_addr("10.2.3.4"), name), RA_DONE);
        return std::string(name.data());
    };
    EXPECT_EQ(name_of(0, 16) + name_of(4, 1), "");
    EXPECT_EQ(name_of(16, 17), "abcdefghijklmnop");
    EXPECT_EQ(name_of(16, 16), "abcdefghijklmno");
    EXPECT_EQ(name_of(17, 300), "abcdefghijklmno");
}

TEST(RaAddRoute, CodesFollowTheFailure)
{
    const auto changed = [](int open_error, int write_error) {
        scripted_platform script;
        script.route_open_error = open_error;
        script.on_route_write = [write_error](byte_view) { return write_error; };
        errno = ESRCH; // an old error must not count
        const u32 dst = inet_addr("10.2.0.0"), gateway = inet_addr("10.1.0.9"), mask = 0xFFFF;
        const int added = ra_add_route(dst, gateway, mask, 0x803);
        const int removed = ra_remove_route(dst, gateway, mask, 0x4);
        return std::to_string(added) + std::to_string(removed) + '\n' + written(script);
    };
    const std::string messages =
        "\nadd 2051 10.2.0.0 10.1.0.9 255.255.0.0\nremove 4 10.2.0.0 10.1.0.9 255.255.0.0\n";
    EXPECT_EQ(changed(0, 0), "00" + messages);
    for (const int error : {EEXIST, ENOENT, -1}) // the last sets no errno
        EXPECT_EQ(changed(0, error), "31" + messages);
    EXPECT_EQ(changed(0, ESRCH), "12" + messages);
    EXPECT_EQ(changed(0, EPERM), "11" + messages);
    EXPECT_EQ(changed(0, -2), "11" + messages);
    EXPECT_EQ(changed(EEXIST, 0), "11\n");
    EXPECT_EQ(changed(ESRCH, 0), "11\n");
}

TEST(RaDeleteRoute, TakesOnlyTheExactDestination)
{
    const auto deleted = [](const char *addr, const char *dst, const char *mask, int error) {
        scripted_platform script;
        script.readings = {route_reply(dst, "10.1.0.9", mask, "10.1.0.1")};
        script.on_route_write = [error](byte_view m) { return m[3] == 2 ? error : 0; };
        const int code = ra_delete_route(inet_addr(addr));
        return std::to_string(code) + ' ' + written(script, 1);
    };
    const std::string host = "remove 4 10.2.3.4 10.1.0.9 255.255.255.255\n";
    EXPECT_EQ(deleted("10.2.3.4", "10.2.3.4", "255.255.255.255", 0), "0 " + host);
    EXPECT_EQ(deleted("10.2.3.4", "10.2.3.4", "255.255.255.255", EPERM), "1 " + host);
    EXPECT_EQ(deleted("10.2.0.0", "10.2.0.0", "255.255.0.0", 0),
              "0 remove 0 10.2.0.0 10.1.0.9 255.255.0.0\n");
    EXPECT_EQ(deleted("10.2.3.4", "10.2.0.0", "255.255.0.0", 0), "2 ");
}

TEST(VvpnIoctl, AddsTheRoutesOfEachKindOfNetwork)
{
    const std::string before = "0 10.1.0.1\n10.1.0.1 to the driver\nget 0 10.2.3.4\n";
    const auto network = [](const std::string &hop) {
        return "add 2051 192.168.1.0 " + hop + " 255.255.255.0\n";
    };
    const auto host = [](const std::string &addr) { return "add 2055 " + addr + " 10.1.0.9\n"; };
    const std::pair<test_link, std::string> cases[] = {
        {{}, network("10.1.0.9")},
        {{.flags = 0x2F, .command = 3}, network("10.1.0.9")},
        {{.hop = "0.0.0.0"}, network("10.2.3.4")},
        {{.hop = "10.1.0.1"}, network("10.2.3.4")}, // an own address
        {{.start = "192.168.1.7", .delimiter = "255.255.255.255"}, host("192.168.1.7")},
        {{.start = "192.168.1.255", .delimiter = "192.168.2.1", .type = 7, .add_error = EEXIST},
         host("192.168.1.255") + host("192.168.2.0") + host("192.168.2.1")},
        {{.start = "10.1.0.8", .delimiter = "10.1.0.10", .type = 7}, // the hop is inside
         host("10.1.0.8") + host("10.1.0.10")},
        {{.start = "255.255.255.254", .delimiter = "255.255.255.255", .type = 7},
         host("255.255.255.254") + host("255.255.255.255")},
        {{.flags = 1, .start = "192.168.1.5", .delimiter = "192.168.1.3", .type = 7}, ""},
    };
    for (const auto &[link, routes] : cases)
        EXPECT_EQ(linked(link), before + routes);
}

TEST(VvpnIoctl, StopsAtTheFirstFailure)
{
    const std::string driver = "10.1.0.1 to the driver\n", get = "get 0 10.2.3.4\n";
    EXPECT_EQ(linked({.start = "1.0.0.1", .delimiter = "1.0.0.3", .type = 7, .add_error = EPERM}),
              "-1 10.1.0.1\n" + driver + get + "add 2055 1.0.0.1 10.1.0.9\n");
    EXPECT_EQ(linked({.flags = 0}), "-1 10.1.0.1\n" + driver);
    EXPECT_EQ(linked({.driver_result = 7}), "7 10.1.0.1\n" + driver);
    EXPECT_EQ(linked({.local = "0.0.0.0", .lookup_error = ESRCH}), "-1 0.0.0.0\n" + get);
    EXPECT_EQ(linked({.start = "1.0.0.1", .delimiter = "1.0.0.0", .type = 7, .local = "0.0.0.0"}),
              "0 10.1.0.1\n" + get + driver + get);
    EXPECT_EQ( // no link command
        linked({.local = "0.0.0.0", .command = 2, .driver_result = 5}),
        "5 0.0.0.0\n0.0.0.0 to the driver\n");
    scripted_platform script;
    script.on_route_write = [](byte_view) { return ESRCH; };
    byte_list payload(50, 1);
    EXPECT_EQ(vvpn_add_routes(payload), RA_NO_ROUTE);
    EXPECT_EQ(vvpn_add_routes(byte_view(payload).first(49)), VVPN_NO_ROUTES);
    EXPECT_EQ(vvpn_add_routes({}), VVPN_NO_ROUTES);
}

TEST(VfwVpnclientcheck, BelievesOnlyAMarkedAnswer)
{
    byte_list wanted(256);
    wanted[0] = 1; // 256, most significant byte first
    wanted[3] = 'D';
    store(wanted, 8, inet_addr("10.2.3.4"));
    store(wanted, 12, inet_addr("10.1.0.1"));
    const auto known = [&](const std::string &id, const std::string &name, int error) {
        scripted_platform script;
        script.vpn_open_error = error;
        script.on_vpn_ioctl = [&](unsigned long, byte_area message) {
            EXPECT_EQ(byte_list(message.begin(), message.end()), wanted);
            std::ranges::fill(message, std::uint8_t{0});
            std::ranges::copy(id, message.begin() + 8);
            std::ranges::copy(name, message.begin() + 24);
            return -1; // does not count
        };
        k_msg.fill('~'); // an earlier message leaves no trace
        char identity[17] = "?", display[233] = "?";
        const int code =
            vfw_vpnclientcheck(load<u32>(wanted, 8), load<u32>(wanted, 12), identity, display);
        return std::to_string(code) + identity + display;
    };
    const std::string full_id(16, 'i'), full_name = '~' + std::string(231, 'd');
    EXPECT_EQ(known(full_id, full_name, 0), '1' + full_id + full_name);
    EXPECT_EQ(known("a", "~b", 0), "1a~b");
    EXPECT_EQ(known("road-warrior", "Ann", 0), "0??");
    EXPECT_EQ(known("a", "~b", ENOENT), "0??");
}
