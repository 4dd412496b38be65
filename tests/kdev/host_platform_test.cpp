// What this host makes of the firewall device and of the routing socket: plain sockets, and a
// network namespace with a packet filter and real routes, seen through the ip command as well.
#include "lib/kdev/firewall_device.h"
#include "lib/kdev/firewall_names.h"
#include "lib/kdev/platform/platform.h"
#include "lib/kdev/platform/route_message.h"
#include "lib/kdev/route_access.h"
#include "lib/kdev/vpn_device.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/network_namespace.h"
#include "tests/kdev/open_descriptors.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <vector>

namespace
{

#define SKIP_WITH_DEVICE()                                                                         \
    if (access("/dev/fw0", F_OK) == 0)                                                             \
    GTEST_SKIP() << "this host has the device"

// Near end, far end and destination of a socket; "own" for the firewall's own destination.
std::string names_of(int sock)
{
    sockaddr_in peer{}, local{}, dst{};
    socklen_t length = sizeof peer;
    EXPECT_EQ(0, vfw_getpeername(sock, &peer, &length));
    EXPECT_EQ(0, vfw_getsockname(sock, &local, &length));
    const int code = vfw_getdstname(sock, &dst, &length);
    EXPECT_GE(code, 0);
    return text_of_end(local) + ' ' + text_of_end(peer) + ' ' +
           (code == 1 ? "own" : text_of_end(dst));
}

std::string plain_names_of(int sock)
{
    return text_of_end(plain_end(getsockname, sock)) + ' ' +
           text_of_end(plain_end(getpeername, sock)) + " own";
}

// An own address with neighbours, a network behind one of them, and a host route.
void set_up_routes()
{
    run_commands({"ip link set lo up", "ip link add near0 type veth peer name near1",
                  "ip addr add 10.1.0.1/24 dev near0", "ip link set near1 up",
                  "ip link set near0 up", "ip route add 10.2.0.0/16 via 10.1.0.254",
                  "ip route add 10.3.0.5 via 10.1.0.253 src 10.1.0.1 metric 20"});
}

// The code; and destination, mask, gateway, source and interface.
std::string look_up(const char *addr)
{
    std::array<std::uint8_t, RA_REPLY_SIZE> reply;
    const int code = ra_lookup_route(inet_addr(addr), reply);
    std::string text = std::to_string(code);
    if (code != RA_DONE)
        return text;
    const auto found = load<route_answer>(reply, 0);
    char name[17] = {};
    EXPECT_EQ(RA_DONE, ra_get_route_interface(inet_addr(addr), name));
    for (const sockaddr_in &a : {found.dst, found.netmask, found.gateway, found.source})
        text += ' ' + dotted(a.sin_addr.s_addr);
    return text + ' ' + name;
}

} // namespace

TEST(host_firewall, plain_sockets_have_their_plain_names)
{
    SKIP_WITH_DEVICE();
    const loopback_connection c;
    EXPECT_EQ(plain_names_of(c.server), names_of(c.server));
    const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    const test_socket sender(connected_socket(SOCK_DGRAM, plain_end(getsockname, receiver)));
    EXPECT_EQ(5, vfw_sendto(sender, "hello", 5, 0, nullptr, 0, nullptr));
    char text[8];
    sockaddr_in from{}, to{};
    socklen_t length = 0;
    EXPECT_EQ(5, vfw_recvfrom(receiver, text, sizeof text, 0, &from, &length, &to));
    EXPECT_EQ(text_of_end(plain_end(getsockname, sender)), text_of_end(from));
    EXPECT_EQ(text_of_end(plain_end(getsockname, receiver)), text_of_end(to));
}

TEST(host_firewall, what_has_no_counterpart_is_refused)
{
    SKIP_WITH_DEVICE();
    const int device = HOST_PLATFORM.fw_open(O_RDONLY);
    const auto error_of = [device](unsigned long request, std::size_t size_bytes) {
        std::vector<std::uint8_t> record(size_bytes);
        EXPECT_EQ(-1, HOST_PLATFORM.fw_ioctl(device, -1, request, record));
        return errno;
    };
    for (const unsigned long request : {0xC0346612, 0xC0086614, 0xC00C6615, 0xC00C6616})
        EXPECT_EQ(EOPNOTSUPP, error_of(request, request >> 16 & 0xFF));
    EXPECT_EQ(EINVAL, error_of(0xC00C66FF, 12)); // unknown
    EXPECT_EQ(EINVAL, error_of(0xC0246610, 12));
    EXPECT_EQ(0, HOST_PLATFORM.fw_close(device));
}

TEST(host_firewall, device_file_is_used_where_it_stands)
{
    SKIP_UNLESS_ROOT();
    in_network_namespace([] {
        // Other mounts, so that the device is there for this process only. The null device opens
        // and knows no request.
        ASSERT_EQ(0, unshare(CLONE_NEWNS));
        ASSERT_EQ(0, mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr));
        ASSERT_EQ(0, mount("none", "/dev", "tmpfs", 0, nullptr));
        EXPECT_EQ(-1, HOST_PLATFORM.vpn_open());
        EXPECT_EQ(ENOENT, errno);
        ASSERT_EQ(0, mknod("/dev/fw0", S_IFCHR | 0600, makedev(1, 3)));
        ASSERT_EQ(0, mknod("/dev/vvpn0", S_IFCHR | 0600, makedev(1, 3)));
        const auto before = open_descriptors();
        const sockaddr_in addr = end_of("10.1.0.1", 0);
        EXPECT_EQ(-1, vfw_checklocal(&addr));
        EXPECT_EQ(ENOTTY, errno);
        const int device = HOST_PLATFORM.vpn_open();
        EXPECT_EQ(FD_CLOEXEC, fcntl(device, F_GETFD));
        vpn_message message{};
        EXPECT_EQ(-1, vvpn_ioctl(device, 0xC0004701, message));
        EXPECT_EQ(ENOTTY, errno);
        EXPECT_EQ(0, HOST_PLATFORM.vpn_close(device));
        EXPECT_EQ(before, open_descriptors());
    });
}

// Connections that others make are redirected in tests/system.
TEST(host_firewall, own_ends_are_told_from_redirected_ones)
{
    SKIP_UNLESS_ROOT();
    SKIP_WITH_DEVICE();
    in_network_namespace([] {
        set_up_routes();
        run_commands({"ip addr add 10.1.0.5/24 dev near0"});
        for (const auto &[addr, own] : {std::pair("10.1.0.1", 1),
                                        {"10.1.0.5", 1},
                                        {"127.0.0.1", 1},
                                        {"10.1.0.2", 0},
                                        {"10.1.0.255", 0},
                                        {"192.0.2.1", 0}}) {
            const sockaddr_in end = end_of(addr, 0);
            EXPECT_EQ(own, vfw_checklocal(&end)) << addr;
        }
        const test_socket listener(bound_socket(SOCK_STREAM, "0.0.0.0"));
        const std::uint16_t port = ntohs(plain_end(getsockname, listener).sin_port);
        const std::string redirect = "nft 'add table ip t; add chain ip t c { type nat hook "
                                     "output priority -100; }; add rule ip t c ip daddr "
                                     "10.2.0.0/16 tcp dport 80 redirect to :" +
                                     std::to_string(port) + "'";
        run_commands({redirect.c_str()});
        for (const sockaddr_in &target : {end_of("10.2.9.9", 80), end_of("10.1.0.1", port)}) {
            const test_socket client(connected_socket(SOCK_STREAM, target));
            const test_socket server(accepted_socket(listener));
            EXPECT_EQ(plain_names_of(client), names_of(client));
            const std::string peer = text_of_end(plain_end(getpeername, server));
            EXPECT_EQ(target.sin_port == htons(80) ? "10.2.9.9:80 " + peer + " 10.2.9.9:80"
                                                   : plain_names_of(server),
                      names_of(server));
        }
    });
}

TEST(netlink_routes, look_up_tells_prefix_gateway_and_source)
{
    SKIP_UNLESS_ROOT();
    in_network_namespace([] {
        set_up_routes();
        const auto before = open_descriptors();
        EXPECT_EQ("0 10.1.0.0 255.255.255.0 0.0.0.0 10.1.0.1 near0", look_up("10.1.0.7"));
        EXPECT_EQ("0 10.2.0.0 255.255.0.0 10.1.0.254 10.1.0.1 near0", look_up("10.2.3.4"));
        EXPECT_EQ("0 10.3.0.5 255.255.255.255 10.1.0.253 10.1.0.1 near0", look_up("10.3.0.5"));
        EXPECT_EQ("0 10.1.0.1 255.255.255.255 0.0.0.0 10.1.0.1 lo", look_up("10.1.0.1"));
        EXPECT_EQ("2", look_up("10.9.9.9"));
        EXPECT_EQ("2", look_up("0.0.0.0"));
        run_commands({"ip route add default via 10.1.0.250 metric 50",
                      "ip route add default via 10.1.0.251 metric 10",
                      "ip route add default via 10.1.0.252 metric 30"});
        EXPECT_EQ("0 0.0.0.0 0.0.0.0 10.1.0.251 10.1.0.1 near0", look_up("10.9.9.9"));
        EXPECT_EQ("0 0.0.0.0 0.0.0.0 10.1.0.251 10.1.0.1 near0", look_up("0.0.0.0"));
        EXPECT_EQ(RA_NO_ROUTE, ra_delete_route(inet_addr("10.9.9.9")));
        EXPECT_EQ(RA_DONE, ra_delete_route(0));
        EXPECT_EQ("default via 10.1.0.252 dev near0 metric 30 \n"
                  "default via 10.1.0.250 dev near0 metric 50 \n",
                  output_of("ip route show default"));
        EXPECT_EQ(before, open_descriptors());
    });
}

TEST(netlink_routes, changes_reach_the_main_table)
{
    SKIP_UNLESS_ROOT();
    enum operation { add, drop, del };
    static const struct {
        operation what;
        const char *dst, *gateway, *mask;
        std::int32_t flags;
        int code, error;
    } steps[] = {
        {add, "10.5.0.0", "10.1.0.9", "255.255.0.0", 0x803, RA_DONE, 0},
        {add, "10.5.0.0", "10.1.0.8", "255.255.0.0", 0x803, RA_EXISTS, EEXIST},
        {add, "10.6.0.1", "10.1.0.9", "255.0.0.0", 0x807, RA_DONE, 0},
        {add, "10.7.1.2", "10.1.0.9", "255.255.0.0", 3, RA_DONE, 0}, // bits below the mask
        {add, "10.8.0.0", "10.1.0.1", "255.255.0.0", 0x801, RA_DONE, 0},
        {add, "10.10.0.0", "10.1.0.9", "255.255.0.0", 1, RA_FAILED, ENETUNREACH},
        {add, "10.10.0.0", "99.0.0.1", "255.255.0.0", 3, RA_FAILED, ENETUNREACH},
        {add, "10.10.0.0", "10.1.0.9", "255.0.255.0", 3, RA_FAILED, EINVAL},
        {del, "10.5.3.4", "", "", 0, RA_NO_ROUTE, 0},
        {del, "10.1.0.1", "", "", 0, RA_NO_ROUTE, ESRCH},
        {drop, "10.5.0.0", "10.1.0.8", "255.255.0.0", 0, RA_NO_ROUTE, ESRCH},
        {drop, "10.5.0.0", "10.1.0.9", "255.0.0.0", 0, RA_NO_ROUTE, ESRCH},
        {del, "10.3.0.5", "", "", 0, RA_DONE, 0},
        {del, "10.3.0.5", "", "", 0, RA_NO_ROUTE, ESRCH},
        {add, "10.9.0.0", "10.1.0.1", "255.255.0.0", 0x801, RA_DONE, 0},
        {drop, "10.9.0.0", "10.1.0.1", "255.255.0.0", 0, RA_DONE, 0},
        {del, "10.1.0.0", "", "", 0, RA_DONE, 0}, // the neighbours' network
    };
    in_network_namespace([] {
        set_up_routes();
        const auto before = open_descriptors();
        for (const auto &s : steps) {
            SCOPED_TRACE(s.dst + std::string(" ") + s.gateway);
            const u32 dst = inet_addr(s.dst), gateway = inet_addr(s.gateway);
            const u32 mask = inet_addr(s.mask);
            errno = 0;
            EXPECT_EQ(s.code, s.what == add    ? ra_add_route(dst, gateway, mask, s.flags)
                              : s.what == drop ? ra_remove_route(dst, gateway, mask, s.flags)
                                               : ra_delete_route(dst));
            EXPECT_EQ(s.error, s.error == 0 ? 0 : errno);
        }
        EXPECT_EQ(before, open_descriptors());
        EXPECT_EQ("10.2.0.0/16 via 10.1.0.254 dev near0 \n"
                  "10.5.0.0/16 via 10.1.0.9 dev near0 proto static \n"
                  "10.6.0.1 via 10.1.0.9 dev near0 proto static \n"
                  "10.7.0.0/16 via 10.1.0.9 dev near0 \n"
                  "10.8.0.0/16 dev near0 proto static scope link \n",
                  output_of("ip route show"));
    });
}

TEST(netlink_routes, refuses_broken_messages)
{
    route_change usual{};
    usual.head.length = sizeof usual;
    usual.head.version = ROUTE_VERSION;
    usual.head.type = ROUTE_ADD;
    usual.head.addrs = HAS_DST | HAS_GATEWAY | HAS_NETMASK;
    const int fd = HOST_PLATFORM.route_open();
    const auto error_of = [&](std::size_t size_bytes, std::size_t offset, std::uint8_t spoilt) {
        std::vector<std::uint8_t> bytes(sizeof usual);
        store(bytes, 0, usual);
        bytes[offset] = spoilt;
        bytes.resize(size_bytes);
        EXPECT_EQ(-1, HOST_PLATFORM.route_write(fd, bytes));
        return errno;
    };
    EXPECT_EQ(EINVAL, error_of(0, 0, 0));
    EXPECT_EQ(EINVAL, error_of(40, 0, 40)); // half a header
    EXPECT_EQ(EINVAL, error_of(124, 0, 125));
    EXPECT_EQ(EINVAL, error_of(124, 0, 123));
    EXPECT_EQ(EINVAL, error_of(124, 2, 5));                          // other version
    EXPECT_EQ(EINVAL, error_of(124, 12, HAS_GATEWAY | HAS_NETMASK)); // no destination
    EXPECT_EQ(EINVAL, error_of(108, 0, 108));                        // the mask is not there
    EXPECT_EQ(EINVAL, error_of(76, 0, 76));
    EXPECT_EQ(EOPNOTSUPP, error_of(124, 3, 9));
    std::array<std::uint8_t, 16> nothing;
    EXPECT_EQ(-1, HOST_PLATFORM.route_read(fd, nothing));
    EXPECT_EQ(EAGAIN, errno);
    EXPECT_EQ(0, HOST_PLATFORM.route_close(fd));
}
