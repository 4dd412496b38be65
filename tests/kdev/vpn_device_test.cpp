#include "lib/kdev/vpn_device.h"

#include "lib/kdev/route_access.h"
#include "tests/kdev/scripted_platform.h"

namespace
{

constexpr unsigned long REQUEST = 0xC0004701;

// A link message; texts are addresses.
struct test_link {
    std::uint8_t flags = 0x10;
    const char *start = "192.168.1.0";
    const char *delimiter = "255.255.255.0";
    std::uint8_t type = 4;
    const char *gateway = "10.2.3.4";
    const char *local = "10.1.0.1";
    std::uint8_t command = 1;
};

// The network stands where the flag bit says; the other one holds a decoy.
vpn_message message_of(const test_link &l)
{
    vpn_message message{};
    const bool first = (l.flags & 0x10) != 0;
    store(message, 0, htons(256));
    message[3] = l.command;
    message[10] = l.flags;
    store(message, first ? 32 : 28, inet_addr("172.16.0.0"));
    store(message, first ? 48 : 44, inet_addr("255.240.0.0"));
    store(message, first ? 28 : 32, inet_addr(l.start));
    store(message, first ? 44 : 48, inet_addr(l.delimiter));
    message[first ? 56 : 57] = l.type;
    message[first ? 57 : 56] = l.type == 7 ? 4 : 7;
    store(message, 36, inet_addr(l.gateway));
    store(message, 40, inet_addr(l.local));
    return message;
}

byte_list reply_through(const char *hop)
{
    return route_reply("10.2.0.0", hop, "255.255.0.0", "10.1.0.1");
}

std::string dotted_at(const byte_list &message, std::size_t offset)
{
    return dotted(at<u32>(message, offset));
}

// The added routes as text, one a line: destination, hop, mask or "host".
std::string added_routes(const scripted_platform &script)
{
    std::string text;
    for (const byte_list &m : script.written) {
        if (m[3] != 1)
            continue;
        EXPECT_EQ(m.size() == 108 ? 0x807 : 0x803, at<std::int32_t>(m, 8));
        text += dotted_at(m, 80) + ' ' + dotted_at(m, 96) + ' ' +
                (m.size() == 108 ? "host" : dotted_at(m, 112)) + '\n';
    }
    return text;
}

} // namespace

TEST(vvpn_get_route, failure_stores_no_address)
{
    const struct {
        const char *label;
        int write_error;
        const char *source;
        int code;
    } cases[] = {
        {"found", 0, "10.1.0.1", 0},
        {"no route", ESRCH, "0.0.0.0", -1},
        {"failed", EPERM, "0.0.0.0", -1},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.on_route_write = [&c](byte_view) { return c.write_error; };
        script.readings = {{reply_through("10.1.0.9")}};
        u32 addr = inet_addr("10.2.3.4");
        EXPECT_EQ(c.code, vvpn_get_route(&addr));
        EXPECT_EQ(c.source, dotted(addr));
    }
}

TEST(vvpn_add_routes, routes_of_each_kind_of_network)
{
    const struct {
        const char *label;
        test_link l;
        const char *hop; // of the route to the remote gateway
        const char *wanted;
    } cases[] = {
        {"first network", {}, "10.1.0.9", "192.168.1.0 10.1.0.9 255.255.255.0\n"},
        {"second network", {.flags = 0x2F}, "10.1.0.9", "192.168.1.0 10.1.0.9 255.255.255.0\n"},
        {"neighbour", {}, "0.0.0.0", "192.168.1.0 10.2.3.4 255.255.255.0\n"},
        {"neighbour over an own address", {}, "10.1.0.1", "192.168.1.0 10.2.3.4 255.255.255.0\n"},
        {"single host",
         {.start = "192.168.1.7", .delimiter = "255.255.255.255"},
         "10.1.0.9",
         "192.168.1.7 10.1.0.9 host\n"},
        {"range over an octet's end",
         {.start = "192.168.1.255", .delimiter = "192.168.2.1", .type = 7},
         "10.1.0.9",
         "192.168.1.255 10.1.0.9 host\n192.168.2.0 10.1.0.9 host\n192.168.2.1 10.1.0.9 host\n"},
        {"range of one, in the second network",
         {.flags = 1, .start = "192.168.1.5", .delimiter = "192.168.1.5", .type = 7},
         "10.1.0.9",
         "192.168.1.5 10.1.0.9 host\n"},
        {"the next hop is in the range",
         {.start = "10.1.0.8", .delimiter = "10.1.0.10", .type = 7},
         "10.1.0.9",
         "10.1.0.8 10.1.0.9 host\n10.1.0.10 10.1.0.9 host\n"},
        {"the gateway is the network",
         {.start = "10.2.3.4", .delimiter = "255.255.255.255"},
         "0.0.0.0",
         ""},
        {"up to the last address of all",
         {.start = "255.255.255.254", .delimiter = "255.255.255.255", .type = 7},
         "10.1.0.9",
         "255.255.255.254 10.1.0.9 host\n255.255.255.255 10.1.0.9 host\n"},
        {"range that ends before its start",
         {.start = "192.168.1.5", .delimiter = "192.168.1.3", .type = 7},
         "10.1.0.9",
         ""},
        {"range from the last to the first",
         {.start = "255.255.255.255", .delimiter = "0.0.0.0", .type = 7},
         "10.1.0.9",
         ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.readings = {{reply_through(c.hop)}};
        const vpn_message message = message_of(c.l);
        EXPECT_EQ(0, vvpn_add_routes(byte_view(message).subspan(8)));
        EXPECT_EQ(c.wanted, added_routes(script));
        EXPECT_EQ(inet_addr("10.2.3.4"), at<u32>(script.written[0], 80));
    }
}

TEST(vvpn_add_routes, stops_at_the_first_failure)
{
    const struct {
        const char *label;
        int error_of_second, code;
        std::size_t tried;
    } cases[] = {
        {"all go in", 0, 0, 3},
        {"one is there", EEXIST, 0, 3},
        {"one fails", ENETUNREACH, RA_FAILED, 2},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.readings = {{reply_through("10.1.0.9")}};
        script.on_route_write = [&c](byte_view m) {
            return m[3] == 1 && load<u32>(m, 80) == inet_addr("1.0.0.2") ? c.error_of_second : 0;
        };
        const vpn_message message =
            message_of({.start = "1.0.0.1", .delimiter = "1.0.0.3", .type = 7});
        EXPECT_EQ(c.code, vvpn_add_routes(byte_view(message).subspan(8)));
        EXPECT_EQ(c.tried + 1, script.written.size());
    }
}

TEST(vvpn_add_routes, refused_without_a_change)
{
    const vpn_message usual = message_of({});
    const vpn_message without_routes = message_of({.flags = 0});
    const struct {
        const char *label;
        byte_view payload;
        int lookup_error, code;
    } cases[] = {
        {"no payload", {}, 0, VVPN_NO_ROUTES},
        {"flags 0", byte_view(without_routes).subspan(8), 0, VVPN_NO_ROUTES},
        {"too short by one", byte_view(usual).subspan(8, 49), 0, VVPN_NO_ROUTES},
        {"just long enough, no route", byte_view(usual).subspan(8, 50), ESRCH, RA_NO_ROUTE},
        {"look-up fails", byte_view(usual).subspan(8), EPERM, RA_FAILED},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.readings = {{reply_through("10.1.0.9")}};
        script.on_route_write = [&c](byte_view) { return c.lookup_error; };
        EXPECT_EQ(c.code, vvpn_add_routes(c.payload));
        EXPECT_EQ("", added_routes(script));
    }
}

TEST(vvpn_ioctl, passes_other_commands_through)
{
    for (const int result : {0, 5, -1}) {
        scripted_platform script;
        script.on_vpn_ioctl = [result](byte_area message) {
            message[20] = 9;
            errno = ENXIO;
            return result;
        };
        vpn_message message = message_of({.command = 2});
        const byte_list sent(message.begin(), message.end());
        EXPECT_EQ(result, vvpn_ioctl(42, REQUEST, message));
        EXPECT_EQ(ENXIO, errno);
        EXPECT_EQ(9, message[20]);
        ASSERT_EQ(1u, script.vpn_requests.size());
        EXPECT_EQ(42, script.vpn_requests[0].fd);
        EXPECT_EQ(REQUEST, script.vpn_requests[0].request);
        EXPECT_EQ(sent, script.vpn_requests[0].message);
        EXPECT_TRUE(script.written.empty());
    }
}

TEST(vvpn_ioctl, link_command_takes_its_roads)
{
    const struct {
        const char *label;
        test_link l;
        int first_lookup_error, driver_result, add_error;
        int code;
        bool asks_driver;
        std::size_t lookups_before; // on the routing socket, ahead of the driver
        const char *local, *added;
    } cases[] = {
        {"local address known",
         {},
         0,
         0,
         0,
         0,
         true,
         0,
         "10.1.0.1",
         "192.168.1.0 10.1.0.9 255.255.255.0\n"},
        {"the other link command",
         {.command = 3},
         0,
         0,
         0,
         0,
         true,
         0,
         "10.1.0.1",
         "192.168.1.0 10.1.0.9 255.255.255.0\n"},
        {"local address found",
         {.local = "0.0.0.0"},
         0,
         0,
         0,
         0,
         true,
         1,
         "10.1.0.1",
         "192.168.1.0 10.1.0.9 255.255.255.0\n"},
        {"no local address", {.local = "0.0.0.0"}, ESRCH, 0, 0, -1, false, 0, "0.0.0.0", ""},
        {"driver refuses", {}, 0, -1, 0, -1, true, 0, "10.1.0.1", ""},
        {"driver's own code", {}, 0, 7, 0, 7, true, 0, "10.1.0.1", ""},
        {"route fails",
         {},
         0,
         0,
         EPERM,
         -1,
         true,
         0,
         "10.1.0.1",
         "192.168.1.0 10.1.0.9 255.255.255.0\n"},
        {"no routes wanted", {.flags = 0}, 0, 0, 0, -1, true, 0, "10.1.0.1", ""},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.readings = {{reply_through("10.1.0.9")}, {reply_through("10.1.0.9")}};
        script.on_route_write = [&c](byte_view m) {
            return m[3] == 4 ? c.first_lookup_error : c.add_error;
        };
        // The driver writes over the network; the routes must be those asked for.
        script.on_vpn_ioctl = [&c](byte_area message) {
            store(message, 28, inet_addr("6.6.6.6"));
            return c.driver_result;
        };
        vpn_message message = message_of(c.l);
        EXPECT_EQ(c.code, vvpn_ioctl(42, REQUEST, message));
        EXPECT_EQ(c.local, dotted(load<u32>(message, 40)));
        EXPECT_EQ(c.added, added_routes(script));
        ASSERT_EQ(c.asks_driver ? 1u : 0u, script.vpn_requests.size());
        if (c.asks_driver) {
            EXPECT_EQ(c.lookups_before, script.vpn_requests[0].writes_before);
            EXPECT_EQ(c.local, dotted_at(script.vpn_requests[0].message, 40));
        }
    }
}

TEST(vfw_vpnclientcheck, believes_only_a_marked_answer)
{
    const struct {
        const char *label;
        int open_error, driver_result;
        std::string identity, display; // what the driver answers
        int code;
        std::string got_identity, got_display;
    } cases[] = {
        {"known", 0, 0, "road-warrior", "~Ann", 1, "road-warrior", "~Ann"},
        {"the driver's result does not count", 0, -1, "a", "~b", 1, "a", "~b"},
        {"no mark", 0, 0, "road-warrior", "Ann", 0, "?", "?"},
        {"no answer", 0, -1, "", "", 0, "?", "?"},
        {"no device", ENOENT, 0, "a", "~b", 0, "?", "?"},
        {"texts fill their places", 0, 0, std::string(16, 'i'), '~' + std::string(231, 'd'), 1,
         std::string(16, 'i'), '~' + std::string(231, 'd')},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        scripted_platform script;
        script.vpn_open_error = c.open_error;
        script.on_vpn_ioctl = [&c](byte_area message) {
            if (c.display.empty())
                return c.driver_result;
            std::ranges::fill(message.subspan(8), std::uint8_t{0});
            std::ranges::copy(c.identity, message.begin() + 8);
            std::ranges::copy(c.display, message.begin() + 24);
            return c.driver_result;
        };
        k_msg.fill('~'); // an earlier message leaves no trace
        char identity[17] = "?", display[233] = "?";
        EXPECT_EQ(c.code, vfw_vpnclientcheck(inet_addr("10.2.3.4"), inet_addr("10.1.0.1"), identity,
                                             display));
        EXPECT_EQ(c.got_identity, identity);
        EXPECT_EQ(c.got_display, display);
        if (c.open_error != 0)
            continue;
        ASSERT_EQ(1u, script.vpn_requests.size());
        EXPECT_EQ(REQUEST, script.vpn_requests[0].request);
        byte_list wanted(256);
        wanted[0] = 1; // 256, most significant byte first
        wanted[3] = 'D';
        store(wanted, 8, inet_addr("10.2.3.4"));
        store(wanted, 12, inet_addr("10.1.0.1"));
        EXPECT_EQ(wanted, script.vpn_requests[0].message);
    }
}
