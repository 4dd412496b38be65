// What this host makes of the firewall device and of the routing socket: plain sockets, and a
// network namespace with a packet filter and real routes, seen through the ip command as well.
#include "lib/kdev/firewall_device.h"
#include "lib/kdev/firewall_names.h"
#include "lib/kdev/platform/platform.h"
#include "lib/kdev/platform/route_message.h"
#include "lib/kdev/route_access.h"
#include "lib/kdev/vpn_device.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/open_descriptors.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <sched.h>
#include <sys/wait.h>
#include <vector>

using namespace flatlink;

namespace
{

// The output of shell commands, which must succeed.
std::string run(const std::string &commands)
{
    FILE *pipe = popen(commands.c_str(), "r");
    char text[1024];
    const std::size_t length = std::fread(text, 1, sizeof text, pipe);
    EXPECT_EQ(pclose(pipe), 0) << commands;
    return {text, length};
}

// Runs `body` as root in a child with a network and mounts of its own: an own address with
// neighbours, a network behind one of them, and a host route. No descriptor may stay open.
void on_own_host(const std::function<void()> &body)
{
    if (geteuid() != 0 || access("/dev/fw0", F_OK) == 0)
        GTEST_SKIP() << "needs root, and a host without the device";
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        EXPECT_EQ(unshare(CLONE_NEWNET | CLONE_NEWNS), 0);
        run("mount --make-rprivate / && ip link set lo up && "
            "ip link add near0 type veth peer name near1 && ip addr add 10.1.0.1/24 dev near0 && "
            "ip link set near1 up && ip link set near0 up && "
            "ip route add 10.2.0.0/16 via 10.1.0.254 && "
            "ip route add 10.3.0.5 via 10.1.0.253 src 10.1.0.1 metric 20");
        const auto before = open_descriptors();
        if (!testing::Test::HasFailure())
            body();
        EXPECT_EQ(open_descriptors(), before);
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the child's checks failed";
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
    EXPECT_EQ(ra_get_route_interface(inet_addr(addr), name), RA_DONE);
    for (const sockaddr_in &a : {found.dst, found.netmask, found.gateway, found.source})
        text += ' ' + format_address(a.sin_addr.s_addr);
    return text + ' ' + name;
}

} // namespace

TEST(HostFirewall, DatagramsHaveTheirPlainEnds)
{
    const loopback_datagrams d;
    EXPECT_EQ(vfw_sendto(d.sender, "hello", 5, 0, nullptr, 0, nullptr), 5);
    char text[8];
    sockaddr_in from{}, to{};
    socklen_t length = 0;
    EXPECT_EQ(vfw_recvfrom(d.receiver, text, sizeof text, 0, &from, &length, &to), 5);
    EXPECT_EQ(text_of_end(from), text_of_end(plain_end(getsockname, d.sender)));
    EXPECT_EQ(text_of_end(to), text_of_end(plain_end(getsockname, d.receiver)));
}

TEST(HostFirewall, RefusesWhatHasNoCounterpart)
{
    on_own_host([] {
        const auto error_of = [](unsigned long request, std::size_t size_bytes) {
            const int device = HOST_PLATFORM.fw_open(O_RDONLY);
            std::vector<std::uint8_t> record(size_bytes);
            EXPECT_EQ(HOST_PLATFORM.fw_ioctl(device, -1, request, record), -1);
            const int error = errno;
            EXPECT_EQ(HOST_PLATFORM.fw_close(device), 0);
            return error;
        };
        for (const unsigned long request : {0xC0346612, 0xC0086614, 0xC00C6615, 0xC00C6616})
            EXPECT_EQ(error_of(request, request >> 16 & 0xFF), EOPNOTSUPP);
        EXPECT_EQ(error_of(0xC00C66FF, 12), EINVAL); // unknown
        EXPECT_EQ(error_of(0xC0246610, 12), EINVAL);
        run("mount -t tmpfs none /dev && mknod /dev/fw0 c 1 3"); // knows no request
        EXPECT_EQ(error_of(0xC0346612, 52), ENOTTY);
    });
}

// Connections that others make are redirected in tests/system.
TEST(HostFirewall, OwnEndsAreToldFromRedirectedOnes)
{
    on_own_host([] {
        run("ip addr add 10.1.0.5/24 dev near0");
        std::string own;
        for (const char *addr : {"10.1.0.1", "10.1.0.5", "10.1.0.2", "10.1.0.255", "192.0.2.1"}) {
            const sockaddr_in end = end_of(addr, 0);
            own += std::to_string(vfw_checklocal(&end));
        }
        EXPECT_EQ(own, "11000");
        const test_socket listener(socket_at(bind, SOCK_STREAM, end_of("0.0.0.0", 0)));
        const std::uint16_t port = ntohs(plain_end(getsockname, listener).sin_port);
        run("nft 'add table ip t; add chain ip t c { type nat hook output priority -100; }; "
            "add rule ip t c ip daddr 10.2.0.0/16 tcp dport 80 redirect to :" +
            std::to_string(port) + "'");
        // Code, own address and true destination of either end.
        const auto told = [&](const sockaddr_in &target) {
            const test_socket client(socket_at(connect, SOCK_STREAM, target));
            const test_socket server(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
            std::string text;
            for (const int sock : {client.fd(), server.fd()}) {
                sockaddr_in peer{}, dst = end_of("0.0.0.0", 0);
                u32 own_be = 0;
                text += std::to_string(vfw_getbothnames(sock, &peer, &dst, &own_be)) + ' ';
                text += format_address(own_be) + ' ' + text_of_end(dst) + ' ';
                EXPECT_EQ(text_of_end(peer), text_of_end(plain_end(getpeername, sock)));
            }
            return text;
        };
        const std::string plain = "1 10.1.0.1 0.0.0.0:0 ";
        EXPECT_EQ(told(end_of("10.2.9.9", 80)), plain + "0 10.2.9.9 10.2.9.9:80 ");
        EXPECT_EQ(told(end_of("10.1.0.1", port)), plain + plain);
    });
}

TEST(NetlinkRoutes, LookUpTellsPrefixGatewayAndSource)
{
    on_own_host([] {
        EXPECT_EQ(look_up("10.1.0.7"), "0 10.1.0.0 255.255.255.0 0.0.0.0 10.1.0.1 near0");
        EXPECT_EQ(look_up("10.2.3.4"), "0 10.2.0.0 255.255.0.0 10.1.0.254 10.1.0.1 near0");
        EXPECT_EQ(look_up("10.3.0.5"), "0 10.3.0.5 255.255.255.255 10.1.0.253 10.1.0.1 near0");
        EXPECT_EQ(look_up("10.9.9.9"), "2");
        EXPECT_EQ(look_up("0.0.0.0"), "2");
        run("ip route add default via 10.1.0.250 metric 50 && "
            "ip route add default via 10.1.0.251 metric 10 && "
            "ip route add default via 10.1.0.252 metric 30");
        EXPECT_EQ(look_up("10.9.9.9"), "0 0.0.0.0 0.0.0.0 10.1.0.251 10.1.0.1 near0");
        EXPECT_EQ(look_up("0.0.0.0"), "0 0.0.0.0 0.0.0.0 10.1.0.251 10.1.0.1 near0");
        EXPECT_EQ(ra_delete_route(inet_addr("10.9.9.9")), RA_NO_ROUTE);
        EXPECT_EQ(ra_delete_route(0), RA_DONE);
        EXPECT_EQ(run("ip route show default"), "default via 10.1.0.252 dev near0 metric 30 \n"
                                                "default via 10.1.0.250 dev near0 metric 50 \n");
    });
}

TEST(NetlinkRoutes, ManyLookUpsAtOnceTellTheSame)
{
    on_own_host([] {
        std::vector<u32> addrs{0, inet_addr("10.9.9.9"), inet_addr("10.3.0.5")};
        for (u32 i = 0; i < 300; ++i) // many times what one datagram asks for
            addrs.push_back(network_order(0x0A010000 + i));
        std::size_t count = 0;
        find_own_addresses(addrs, [&](u32 addr_be, u32 own_be) {
            u32 wanted_be = addr_be;
            vvpn_get_route(&wanted_be);
            EXPECT_EQ(format_address(own_be), format_address(wanted_be)) << addr_be;
            ++count;
        });
        EXPECT_EQ(count, addrs.size() - 1); // the default route takes another way
    });
}

TEST(NetlinkRoutes, ChangesReachTheMainTable)
{
    on_own_host([] {
        const auto add = [](const char *dst, const char *gateway, const char *mask, int flags) {
            return ra_add_route(inet_addr(dst), inet_addr(gateway), inet_addr(mask), flags);
        };
        const auto remove = [](const char *dst, const char *gateway) {
            return ra_remove_route(inet_addr(dst), inet_addr(gateway), inet_addr("255.255.0.0"), 0);
        };
        EXPECT_EQ(add("10.5.0.0", "10.1.0.9", "255.255.0.0", 0x803), RA_DONE);
        EXPECT_EQ(add("10.5.0.0", "10.1.0.8", "255.255.0.0", 0x803), RA_EXISTS);
        EXPECT_EQ(add("10.6.0.1", "10.1.0.9", "255.0.0.0", 0x807), RA_DONE);
        EXPECT_EQ(add("10.7.1.2", "10.1.0.9", "255.255.0.0", 3), RA_DONE); // bits below the mask
        EXPECT_EQ(add("10.8.0.0", "10.1.0.1", "255.255.0.0", 0x801), RA_DONE);
        EXPECT_EQ(add("10.9.0.0", "10.1.0.1", "255.255.0.0", 0x801), RA_DONE);
        EXPECT_EQ(add("10.10.0.0", "10.1.0.9", "255.255.0.0", 1), RA_FAILED);
        EXPECT_EQ(add("10.10.0.0", "10.1.0.9", "255.0.255.0", 3), RA_FAILED);
        EXPECT_EQ(remove("10.5.0.0", "10.1.0.8"), RA_NO_ROUTE);
        EXPECT_EQ(remove("10.9.0.0", "10.1.0.1"), RA_DONE);
        EXPECT_EQ(ra_delete_route(inet_addr("10.1.0.1")), RA_NO_ROUTE);
        EXPECT_EQ(ra_delete_route(inet_addr("10.3.0.5")), RA_DONE);
        EXPECT_EQ(ra_delete_route(inet_addr("10.1.0.0")), RA_DONE); // the neighbours' network
        EXPECT_EQ(run("ip route show"), "10.2.0.0/16 via 10.1.0.254 dev near0 \n"
                                        "10.5.0.0/16 via 10.1.0.9 dev near0 proto static \n"
                                        "10.6.0.1 via 10.1.0.9 dev near0 proto static \n"
                                        "10.7.0.0/16 via 10.1.0.9 dev near0 \n"
                                        "10.8.0.0/16 dev near0 proto static scope link \n");
    });
}

TEST(NetlinkRoutes, RefusesBrokenMessages)
{
    const int fd = HOST_PLATFORM.route_open();
    std::array<std::uint8_t, 124> message{0, 0, ROUTE_VERSION, ROUTE_ADD};
    message[12] = HAS_DST | HAS_GATEWAY | HAS_NETMASK;
    for (const std::size_t size_bytes : {0U, 40U, 76U, 108U}) {
        message[0] = static_cast<std::uint8_t>(size_bytes);
        EXPECT_EQ(HOST_PLATFORM.route_write(fd, byte_view(message).first(size_bytes)), -1);
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_EQ(HOST_PLATFORM.route_write(fd, message), -1); // longer than it says
    EXPECT_EQ(errno, EINVAL);
    EXPECT_EQ(HOST_PLATFORM.route_close(fd), 0);
}
