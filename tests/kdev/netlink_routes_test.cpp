// The routing socket that this host makes of netlink, with real routes of a network namespace,
// seen through the functions that use it and through the ip command.
#include "lib/kdev/platform/netlink_routes.h"

#include "lib/kdev/platform/platform.h"
#include "lib/kdev/platform/route_message.h"
#include "lib/kdev/route_access.h"
#include "lib/kdev/vpn_device.h"
#include "tests/kdev/network_namespace.h"

#include <array>
#include <cerrno>

namespace
{

// An own address with neighbours, a network behind one of them, and a host route.
void set_up_routes()
{
    run_commands({"ip link set lo up", "ip link add near0 type veth peer name near1",
                  "ip addr add 10.1.0.1/24 dev near0", "ip link set near1 up",
                  "ip link set near0 up", "ip route add 10.2.0.0/16 via 10.1.0.254",
                  "ip route add 10.3.0.5 via 10.1.0.253 src 10.1.0.1 metric 20"});
}

struct lookup {
    int code;
    std::string text; // destination, mask, gateway, source, interface
};

lookup look_up(const char *addr)
{
    std::array<std::uint8_t, RA_REPLY_SIZE> reply;
    const int code = ra_lookup_route(inet_addr(addr), reply);
    if (code != RA_DONE)
        return {code, ""};
    const auto found = load<route_answer>(reply, 0);
    char name[17] = {};
    EXPECT_EQ(RA_DONE, ra_get_route_interface(inet_addr(addr), name));
    std::string text;
    for (const sockaddr_in &a : {found.dst, found.netmask, found.gateway, found.source})
        text += dotted(a.sin_addr.s_addr) + ' ';
    return {code, text + name};
}

} // namespace

TEST(netlink_routes, look_up_tells_prefix_gateway_and_source)
{
    SKIP_UNLESS_ROOT();
    const struct {
        const char *label, *addr;
        int code;
        const char *text;
    } cases[] = {
        {"neighbour", "10.1.0.7", 0, "10.1.0.0 255.255.255.0 0.0.0.0 10.1.0.1 near0"},
        {"network behind", "10.2.3.4", 0, "10.2.0.0 255.255.0.0 10.1.0.254 10.1.0.1 near0"},
        {"host route", "10.3.0.5", 0, "10.3.0.5 255.255.255.255 10.1.0.253 10.1.0.1 near0"},
        {"own address", "10.1.0.1", 0, "10.1.0.1 255.255.255.255 0.0.0.0 10.1.0.1 lo"},
        {"none", "10.9.9.9", RA_NO_ROUTE, ""},
        {"no default route", "0.0.0.0", RA_NO_ROUTE, ""},
    };
    in_network_namespace([&] {
        set_up_routes();
        const auto before = open_descriptors();
        for (const auto &c : cases) {
            SCOPED_TRACE(c.label);
            const lookup got = look_up(c.addr);
            EXPECT_EQ(c.code, got.code);
            EXPECT_EQ(c.text, got.text);
        }
        EXPECT_EQ(before, open_descriptors());
    });
}

TEST(netlink_routes, default_route_answers_for_all_and_for_0)
{
    SKIP_UNLESS_ROOT();
    in_network_namespace([] {
        set_up_routes();
        run_commands({"ip route add default via 10.1.0.250 metric 50",
                      "ip route add default via 10.1.0.251 metric 10",
                      "ip route add default via 10.1.0.252 metric 30"});
        EXPECT_EQ("0.0.0.0 0.0.0.0 10.1.0.251 10.1.0.1 near0", look_up("10.9.9.9").text);
        EXPECT_EQ("0.0.0.0 0.0.0.0 10.1.0.251 10.1.0.1 near0", look_up("0.0.0.0").text);
        EXPECT_EQ(RA_NO_ROUTE, ra_delete_route(inet_addr("10.9.9.9")));
        EXPECT_EQ(RA_DONE, ra_delete_route(0));
        EXPECT_EQ("default via 10.1.0.252 dev near0 metric 30 \n"
                  "default via 10.1.0.250 dev near0 metric 50 \n",
                  output_of("ip route show default"));
    });
}

TEST(netlink_routes, vvpn_get_route_gives_the_own_address)
{
    SKIP_UNLESS_ROOT();
    in_network_namespace([] {
        u32 addr = inet_addr("10.2.3.4");
        EXPECT_EQ(-1, vvpn_get_route(&addr));
        EXPECT_EQ(0u, addr);
        set_up_routes();
        addr = inet_addr("10.2.3.4");
        EXPECT_EQ(0, vvpn_get_route(&addr));
        EXPECT_EQ("10.1.0.1", dotted(addr));
    });
}

TEST(netlink_routes, changes_reach_the_main_table)
{
    SKIP_UNLESS_ROOT();
    enum operation { add, drop, del };
    const struct {
        const char *label;
        operation what;
        const char *dst, *gateway, *mask;
        std::int32_t flags;
        int code, error;
    } steps[] = {
        {"network", add, "10.5.0.0", "10.1.0.9", "255.255.0.0", 0x803, RA_DONE, 0},
        {"again", add, "10.5.0.0", "10.1.0.9", "255.255.0.0", 0x803, RA_EXISTS, EEXIST},
        {"over another gateway", add, "10.5.0.0", "10.1.0.8", "255.255.0.0", 0x803, RA_EXISTS,
         EEXIST},
        {"host", add, "10.6.0.1", "10.1.0.9", "255.0.0.0", 0x807, RA_DONE, 0},
        {"bits below the mask", add, "10.7.1.2", "10.1.0.9", "255.255.0.0", 3, RA_DONE, 0},
        {"direct", add, "10.8.0.0", "10.1.0.1", "255.255.0.0", 0x801, RA_DONE, 0},
        {"direct over no interface", add, "10.10.0.0", "10.1.0.9", "255.255.0.0", 1, RA_FAILED,
         ENETUNREACH},
        {"far gateway", add, "10.10.0.0", "99.0.0.1", "255.255.0.0", 3, RA_FAILED, ENETUNREACH},
        {"mask with holes", add, "10.10.0.0", "10.1.0.9", "255.0.255.0", 3, RA_FAILED, EINVAL},
        {"inside of a network", del, "10.5.3.4", "", "", 0, RA_NO_ROUTE, 0},
        {"own address", del, "10.1.0.1", "", "", 0, RA_NO_ROUTE, ESRCH},
        {"none", del, "10.99.0.1", "", "", 0, RA_NO_ROUTE, ESRCH},
        {"wrong gateway", drop, "10.5.0.0", "10.1.0.8", "255.255.0.0", 0, RA_NO_ROUTE, ESRCH},
        {"wrong mask", drop, "10.5.0.0", "10.1.0.9", "255.0.0.0", 0, RA_NO_ROUTE, ESRCH},
        {"network removed", del, "10.5.0.0", "", "", 0, RA_DONE, 0},
        {"network gone", del, "10.5.0.0", "", "", 0, RA_NO_ROUTE, ESRCH},
        {"host removed", del, "10.6.0.1", "", "", 0, RA_DONE, 0},
        {"direct removed", drop, "10.8.0.0", "10.1.0.1", "255.255.0.0", 0, RA_DONE, 0},
        {"neighbours' network", del, "10.1.0.0", "", "", 0, RA_DONE, 0},
    };
    in_network_namespace([&] {
        set_up_routes();
        const auto before = open_descriptors();
        for (const auto &s : steps) {
            SCOPED_TRACE(s.label);
            const u32 dst = inet_addr(s.dst), gateway = inet_addr(s.gateway);
            const u32 mask = inet_addr(s.mask);
            errno = 0;
            const int code = s.what == add    ? ra_add_route(dst, gateway, mask, s.flags)
                             : s.what == drop ? ra_remove_route(dst, gateway, mask, s.flags)
                                              : ra_delete_route(dst);
            EXPECT_EQ(s.code, code);
            if (s.error != 0) {
                EXPECT_EQ(s.error, errno);
            }
            if (s.label == std::string("direct")) {
                EXPECT_EQ("10.2.0.0/16 via 10.1.0.254 dev near0 \n"
                          "10.3.0.5 via 10.1.0.253 dev near0 src 10.1.0.1 metric 20 \n"
                          "10.5.0.0/16 via 10.1.0.9 dev near0 proto static \n"
                          "10.6.0.1 via 10.1.0.9 dev near0 proto static \n"
                          "10.7.0.0/16 via 10.1.0.9 dev near0 \n"
                          "10.8.0.0/16 dev near0 proto static scope link \n",
                          output_of("ip route show | grep -v kernel"));
            }
        }
        EXPECT_EQ(before, open_descriptors());
        EXPECT_EQ("10.2.0.0/16 via 10.1.0.254 dev near0 \n"
                  "10.3.0.5 via 10.1.0.253 dev near0 src 10.1.0.1 metric 20 \n"
                  "10.7.0.0/16 via 10.1.0.9 dev near0 \n",
                  output_of("ip route show"));
    });
}

TEST(netlink_routes, link_routes_go_to_the_next_hop)
{
    SKIP_UNLESS_ROOT();
    in_network_namespace([] {
        set_up_routes();
        vpn_message message{};
        message[10] = 0x10;
        message[56] = 7;
        store(message, 28, inet_addr("192.168.1.1"));
        store(message, 44, inet_addr("192.168.1.3"));
        store(message, 36, inet_addr("10.2.3.4"));
        for (int times = 0; times < 2; ++times) // the second time all are there
            EXPECT_EQ(0, vvpn_add_routes(byte_view(message).subspan(8)));
        EXPECT_EQ("192.168.1.1 via 10.1.0.254 dev near0 proto static \n"
                  "192.168.1.2 via 10.1.0.254 dev near0 proto static \n"
                  "192.168.1.3 via 10.1.0.254 dev near0 proto static \n",
                  output_of("ip route show | grep ^192"));
    });
}

TEST(netlink_routes, refuses_broken_messages)
{
    route_change usual{};
    usual.head.length = sizeof usual;
    usual.head.version = ROUTE_VERSION;
    usual.head.type = ROUTE_ADD;
    usual.head.addrs = HAS_DST | HAS_GATEWAY | HAS_NETMASK;
    const struct {
        const char *label;
        std::size_t size_bytes;
        std::size_t offset; // of the byte that is spoilt
        std::uint8_t byte;
        int error;
    } cases[] = {
        {"empty", 0, 0, 0, EINVAL},
        {"half a header", 40, 0, 40, EINVAL},
        {"length says more", 124, 0, 125, EINVAL},
        {"length says less", 124, 0, 123, EINVAL},
        {"other version", 124, 2, 5, EINVAL},
        {"unknown type", 124, 3, 9, EOPNOTSUPP},
        {"no destination", 124, 12, HAS_GATEWAY | HAS_NETMASK, EINVAL},
        {"mask is missing", 108, 0, 108, EINVAL},
        {"header alone", 76, 0, 76, EINVAL},
    };
    const platform_calls &host = HOST_PLATFORM;
    const int fd = host.route_open();
    ASSERT_GE(fd, 0);
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        std::vector<std::uint8_t> bytes(sizeof usual);
        store(bytes, 0, usual);
        bytes[c.offset] = c.byte;
        bytes.resize(c.size_bytes);
        errno = 0;
        EXPECT_EQ(-1, host.route_write(fd, bytes));
        EXPECT_EQ(c.error, errno);
    }
    std::array<std::uint8_t, 16> nothing;
    EXPECT_EQ(-1, host.route_read(fd, nothing));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(0, host.route_close(fd));
}
