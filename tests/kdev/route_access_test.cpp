// Messages to the routing socket and to the VPN driver, and what their answers are taken for.
#include "lib/kdev/route_access.h"

#include "lib/kdev/vpn_device.h"
#include "tests/kdev/scripted_platform.h"

#include <array>
#include <cstring>

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
        EXPECT_EQ(m.size(), load<std::uint16_t>(m, 0));
        EXPECT_EQ(3, m[2]);
        EXPECT_EQ(m[3] == 4 ? 49 : m.size() == 108 ? 3 : 7, load<std::int32_t>(m, 12));
        EXPECT_EQ(getpid(), load<std::int32_t>(m, 16));
        EXPECT_EQ(gettid(), load<std::int32_t>(m, 20));
        text += m[3] == 1 ? "add " : m[3] == 2 ? "remove " : "get ";
        text += std::to_string(load<std::int32_t>(m, 8));
        for (std::size_t at = 76; at < m.size(); at += 16) {
            EXPECT_EQ(AF_INET, load<std::uint16_t>(m, at));
            text += ' ' + dotted_at(m, at + 4);
        }
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

// The network stands where the flag bit says; the other one holds a decoy.
vpn_message message_of(const test_link &l)
{
    vpn_message message{};
    const bool first = (l.flags & 0x10) != 0;
    message[3] = l.command;
    message[10] = l.flags;
    store(message, first ? 32 : 28, inet_addr("172.16.0.0"));
    store(message, first ? 48 : 44, inet_addr("255.240.0.0"));
    store(message, first ? 28 : 32, inet_addr(l.start));
    store(message, first ? 44 : 48, inet_addr(l.delimiter));
    message[first ? 56 : 57] = l.type;
    message[first ? 57 : 56] = l.type == 7 ? 4 : 7;
    store(message, 36, inet_addr("10.2.3.4"));
    store(message, 40, inet_addr(l.local));
    return message;
}

// The result of the command, the local address, and what was written; a line for the driver's turn.
std::string linked(const test_link &l)
{
    const byte_list reply = route_reply("10.2.0.0", l.hop, "255.255.0.0", "10.1.0.1");
    scripted_platform script;
    script.readings = {{reply}, {reply}};
    script.on_route_write = [&l](byte_view m) { return m[3] == 4 ? l.lookup_error : l.add_error; };
    std::string ahead;
    script.on_vpn_ioctl = [&](byte_area message) {
        ahead = written(script) + dotted_at(message, 40) + " to the driver\n";
        script.written.clear();
        // The driver writes over both networks; the routes must be those asked for.
        store(message, 28, std::uint64_t{0});
        return l.driver_result;
    };
    vpn_message message = message_of(l);
    const int code = vvpn_ioctl(42, 0xC0004701, message);
    for (const auto &asked : script.vpn_requests)
        EXPECT_EQ(0xC0004701, asked.number);
    EXPECT_EQ(ahead.empty(), load<std::uint64_t>(message, 28) != 0);
    return std::to_string(code) + ' ' + dotted_at(message, 40) + '\n' + ahead + written(script);
}

} // namespace

TEST(ra_lookup_route, judges_what_it_reads)
{
    using readings = std::deque<scripted_platform::reading>;
    // The code, the error, and the number of messages that stay unread.
    const auto looked_up = [](const readings &messages) {
        scripted_platform script;
        script.readings = messages;
        std::array<std::uint8_t, RA_REPLY_SIZE> buffer;
        errno = 0;
        const int code = ra_lookup_route(inet_addr("10.2.3.4"), buffer);
        const std::string error = code == RA_DONE ? "" : strerrorname_np(errno);
        EXPECT_EQ("get 0 10.2.3.4\n", written(script));
        return std::to_string(code) + error + ' ' + std::to_string(script.readings.size());
    };
    EXPECT_EQ("0 1", looked_up({{usual}, {stranger}}));
    EXPECT_EQ("0 0", looked_up({{stranger}, {reply_with(20, 1)}, {usual}}));
    EXPECT_EQ("1EIO 1", looked_up({{stranger}, {stranger}, {stranger}, {usual}}));
    EXPECT_EQ("1ENOBUFS 1", looked_up({{{}, ENOBUFS}, {usual}}));
    EXPECT_EQ("1EIO 1", looked_up({{reply_with(24, ENETDOWN)}, {usual}})); // an error inside
    EXPECT_EQ("1EIO 0", looked_up({{reply_with(8, 0x801)}}));              // not done
    for (const int addrs : {0x36, 0x35, 0x33, 0x27})                       // one is missing
        EXPECT_EQ("1EIO 0", looked_up({{reply_with(12, addrs)}}));
    EXPECT_EQ("0 0", looked_up({{reply_with(12, 0x17, 376)}})); // without the source
    EXPECT_EQ("1EIO 0", looked_up({{reply_with(12, 0x17, 375)}}));
    EXPECT_EQ("1EIO 0", looked_up({{reply_with(12, 0x37, 391)}}));
    EXPECT_EQ("0 0", looked_up({{reply_with(12, 0x37, 18)}, {usual}})); // half a header: nobody's
    EXPECT_EQ("1EIO 0", looked_up({{{}}, {{}}, {{}}}));
}

TEST(ra_get_route_address, changes_nothing_without_a_route)
{
    const auto source = [](int open_error, int write_error, ssize_t left_out) {
        scripted_platform script;
        script.route_open_error = open_error;
        script.on_route_write = [write_error](byte_view) { return write_error; };
        script.route_write_short = left_out;
        byte_list longer = stranger; // of which nothing stays
        longer.resize(1024, 0xAA);
        script.readings = {{longer}, {reply_with(12, 0x17, 376)}, {usual}};
        u32 first = 5, second = 5;
        errno = 0;
        const int code = ra_get_route_address(inet_addr("10.2.3.4"), &first);
        const std::string error = strerrorname_np(errno);
        EXPECT_EQ(code == RA_DONE ? 0 : -1, vvpn_get_route(&second));
        return std::to_string(code) + error + ' ' + std::to_string(first) + ' ' + dotted(second);
    };
    EXPECT_EQ("00 0 10.1.0.1", source(0, 0, 0));
    EXPECT_EQ("1ESRCH 5 0.0.0.0", source(ESRCH, 0, 0));
    EXPECT_EQ("2ESRCH 5 0.0.0.0", source(0, ESRCH, 0));
    EXPECT_EQ("1EPERM 5 0.0.0.0", source(0, EPERM, 0));
    EXPECT_EQ("1EIO 5 0.0.0.0", source(0, 0, 1));
}

TEST(ra_get_route_interface, cuts_long_names)
{
    const std::string letters = "abcdefghijklmnopqrstuvwxyz";
    const auto name_of = [&letters](std::uint8_t length, std::size_t room) {
        scripted_platform script;
        byte_list reply = usual;
        reply[124 + 5] = length;
        std::copy(letters.begin(), letters.end(), reply.begin() + 124 + 8);
        script.readings = {{reply}};
        // Exactly the room, so that the sanitizer sees a byte too many.
        std::vector<char> name(room, '?');
        EXPECT_EQ(RA_DONE, ra_get_route_interface(inet_addr("10.2.3.4"), name));
        return std::string(name.data());
    };
    EXPECT_EQ("", name_of(0, 16) + name_of(4, 1));
    EXPECT_EQ("abcdefghijklmnop", name_of(16, 17));
    for (const auto &[length, room] : {std::pair(15, 16), {16, 16}, {17, 32}, {255, 300}})
        EXPECT_EQ("abcdefghijklmno",
                  name_of(static_cast<std::uint8_t>(length), static_cast<std::size_t>(room)));
}

TEST(ra_add_route, message_follows_the_flags)
{
    scripted_platform script;
    const u32 dst = inet_addr("10.2.0.0"), gateway = inet_addr("10.1.0.9");
    EXPECT_EQ(RA_DONE, ra_add_route(dst, gateway, inet_addr("255.255.0.0"), 0x803));
    EXPECT_EQ(RA_DONE, ra_add_route(dst, gateway, inet_addr("255.255.0.0"), 0x807));
    EXPECT_EQ(RA_DONE, ra_remove_route(dst, gateway, inet_addr("255.255.0.0"), 0x4));
    EXPECT_EQ("add 2051 10.2.0.0 10.1.0.9 255.255.0.0\nadd 2055 10.2.0.0 10.1.0.9\n"
              "remove 4 10.2.0.0 10.1.0.9 255.255.0.0\n",
              written(script));
}

TEST(ra_add_route, failures_become_codes)
{
    // The codes of adding and of removing.
    const auto codes = [](int open_error, int write_error, ssize_t left_out) {
        scripted_platform script;
        script.route_open_error = open_error;
        script.on_route_write = [write_error](byte_view) { return write_error; };
        script.route_write_short = left_out;
        errno = ESRCH; // an old error must not count
        const int added = ra_add_route(1, 2, 3, 0x803);
        return std::pair(added, ra_remove_route(1, 2, 3, 0));
    };
    EXPECT_EQ(std::pair(RA_EXISTS, RA_FAILED), codes(0, EEXIST, 0));
    EXPECT_EQ(std::pair(RA_EXISTS, RA_FAILED), codes(0, ENOENT, 0));
    EXPECT_EQ(std::pair(RA_EXISTS, RA_FAILED), codes(0, -1, 0)); // no errno
    EXPECT_EQ(std::pair(RA_FAILED, RA_NO_ROUTE), codes(0, ESRCH, 0));
    EXPECT_EQ(std::pair(RA_FAILED, RA_FAILED), codes(0, EPERM, 0));
    EXPECT_EQ(std::pair(RA_FAILED, RA_FAILED), codes(0, 0, 1));
    EXPECT_EQ(std::pair(RA_FAILED, RA_FAILED), codes(EEXIST, 0, 0));
    EXPECT_EQ(std::pair(RA_FAILED, RA_FAILED), codes(ESRCH, 0, 0));
}

TEST(ra_delete_route, takes_only_the_exact_destination)
{
    const auto deleted = [](const char *addr, const char *dst, const char *mask, int error) {
        scripted_platform script;
        script.readings = {{route_reply(dst, "10.1.0.9", mask, "10.1.0.1")}};
        script.on_route_write = [error](byte_view m) { return m[3] == 2 ? error : 0; };
        const int code = ra_delete_route(inet_addr(addr));
        return std::to_string(code) + ' ' + written(script, 1);
    };
    const std::string host = "remove 4 10.2.3.4 10.1.0.9 255.255.255.255\n";
    EXPECT_EQ("0 " + host, deleted("10.2.3.4", "10.2.3.4", "255.255.255.255", 0));
    EXPECT_EQ("2 " + host, deleted("10.2.3.4", "10.2.3.4", "255.255.255.255", ESRCH));
    EXPECT_EQ("1 " + host, deleted("10.2.3.4", "10.2.3.4", "255.255.255.255", EPERM));
    EXPECT_EQ("0 remove 0 10.2.0.0 10.1.0.9 255.255.0.0\n",
              deleted("10.2.0.0", "10.2.0.0", "255.255.0.0", 0));
    EXPECT_EQ("2 ", deleted("10.2.3.4", "10.2.0.0", "255.255.0.0", 0));
    EXPECT_EQ("2 ", deleted("10.2.3.4", "0.0.0.0", "0.0.0.0", 0));
}

TEST(vvpn_ioctl, adds_the_routes_of_each_kind_of_network)
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
        {{.add_error = EEXIST}, network("10.1.0.9")},
        {{.start = "192.168.1.7", .delimiter = "255.255.255.255"}, host("192.168.1.7")},
        {{.start = "192.168.1.255", .delimiter = "192.168.2.1", .type = 7, .add_error = EEXIST},
         host("192.168.1.255") + host("192.168.2.0") + host("192.168.2.1")},
        {{.flags = 1, .start = "1.0.0.5", .delimiter = "1.0.0.5", .type = 7}, host("1.0.0.5")},
        {{.start = "10.1.0.8", .delimiter = "10.1.0.10", .type = 7}, // the hop is inside
         host("10.1.0.8") + host("10.1.0.10")},
        {{.start = "10.2.3.4", .delimiter = "255.255.255.255", .hop = "0.0.0.0"}, ""},
        {{.start = "255.255.255.254", .delimiter = "255.255.255.255", .type = 7},
         host("255.255.255.254") + host("255.255.255.255")},
        {{.start = "192.168.1.5", .delimiter = "192.168.1.3", .type = 7}, ""},
    };
    for (const auto &[link, routes] : cases)
        EXPECT_EQ(before + routes, linked(link));
}

TEST(vvpn_ioctl, stops_at_the_first_failure)
{
    const std::string driver = "10.1.0.1 to the driver\n", get = "get 0 10.2.3.4\n";
    EXPECT_EQ("-1 10.1.0.1\n" + driver + get + "add 2055 1.0.0.1 10.1.0.9\n",
              linked({.start = "1.0.0.1", .delimiter = "1.0.0.3", .type = 7, .add_error = EPERM}));
    EXPECT_EQ("-1 10.1.0.1\n" + driver + get, linked({.lookup_error = ESRCH}));
    EXPECT_EQ("-1 10.1.0.1\n" + driver, linked({.flags = 0}));
    EXPECT_EQ("-1 10.1.0.1\n" + driver, linked({.driver_result = -1}));
    EXPECT_EQ("7 10.1.0.1\n" + driver, linked({.driver_result = 7}));
    EXPECT_EQ("-1 0.0.0.0\n" + get, linked({.local = "0.0.0.0", .lookup_error = ESRCH}));
    EXPECT_EQ("0 10.1.0.1\n" + get + driver + get,
              linked({.start = "1.0.0.1", .delimiter = "1.0.0.0", .type = 7, .local = "0.0.0.0"}));
    EXPECT_EQ("5 0.0.0.0\n0.0.0.0 to the driver\n", // no link command
              linked({.local = "0.0.0.0", .command = 2, .driver_result = 5}));
    scripted_platform script;
    const vpn_message message = message_of({});
    EXPECT_EQ(VVPN_NO_ROUTES, vvpn_add_routes({}));
    EXPECT_EQ(VVPN_NO_ROUTES, vvpn_add_routes(byte_view(message).subspan(8, 49)));
    EXPECT_EQ("", written(script));
    script.on_route_write = [](byte_view) { return ESRCH; };
    EXPECT_EQ(RA_NO_ROUTE, vvpn_add_routes(byte_view(message).subspan(8, 50)));
}

TEST(vfw_vpnclientcheck, believes_only_a_marked_answer)
{
    byte_list wanted(256);
    wanted[0] = 1; // 256, most significant byte first
    wanted[3] = 'D';
    store(wanted, 8, inet_addr("10.2.3.4"));
    store(wanted, 12, inet_addr("10.1.0.1"));
    const auto known = [&](const std::string &id, const std::string &name, int error, int result) {
        scripted_platform script;
        script.vpn_open_error = error;
        script.on_vpn_ioctl = [&](byte_area message) {
            EXPECT_EQ(wanted, byte_list(message.begin(), message.end()));
            std::ranges::fill(message.subspan(8), std::uint8_t{0});
            std::ranges::copy(id, message.begin() + 8);
            std::ranges::copy(name, message.begin() + 24);
            return result;
        };
        k_msg.fill('~'); // an earlier message leaves no trace
        char identity[17] = "?", display[233] = "?";
        const int code =
            vfw_vpnclientcheck(inet_addr("10.2.3.4"), inet_addr("10.1.0.1"), identity, display);
        return std::to_string(code) + identity + display;
    };
    EXPECT_EQ("1road-warrior~Ann", known("road-warrior", "~Ann", 0, 0));
    EXPECT_EQ("1a~b", known("a", "~b", 0, -1)); // the driver's result does not count
    EXPECT_EQ("0??", known("road-warrior", "Ann", 0, 0));
    EXPECT_EQ("0??", known("", "", 0, -1));
    EXPECT_EQ("0??", known("a", "~b", ENOENT, 0));
    const std::string full_id(16, 'i'), full_name = '~' + std::string(231, 'd');
    EXPECT_EQ('1' + full_id + full_name, known(full_id, full_name, 0, 0));
}
