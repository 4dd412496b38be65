// The firewall device of a host that has none: plain sockets, and connections that the packet
// filter of a network namespace redirects.
#include "lib/kdev/platform/host_firewall.h"

#include "lib/kdev/firewall_device.h"
#include "lib/kdev/firewall_names.h"
#include "lib/kdev/platform/firewall_records.h"
#include "lib/kdev/platform/platform.h"
#include "lib/kdev/vpn_device.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/network_namespace.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace
{

#define SKIP_WITH_DEVICE()                                                                         \
    if (access("/dev/fw0", F_OK) == 0)                                                             \
    GTEST_SKIP() << "this host has the device"

struct names {
    std::string peer, local, dst; // "address:port"; dst is "own" where the result says so
};

names names_of(int sock)
{
    sockaddr_in peer{}, local{}, dst{};
    socklen_t length = sizeof peer;
    EXPECT_EQ(0, vfw_getpeername(sock, &peer, &length));
    EXPECT_EQ(0, vfw_getsockname(sock, &local, &length));
    const int code = vfw_getdstname(sock, &dst, &length);
    EXPECT_GE(code, 0);

    sockaddr_in peer_too{}, dst_too{};
    u32 localaddr = 0;
    EXPECT_EQ(code, vfw_getbothnames(sock, &peer_too, &dst_too, &localaddr));
    EXPECT_EQ(text_of_end(peer), text_of_end(peer_too));
    EXPECT_EQ(local.sin_addr.s_addr, localaddr);
    EXPECT_EQ(text_of_end(dst), text_of_end(dst_too));
    return {text_of_end(peer), text_of_end(local), code == 1 ? "own" : text_of_end(dst)};
}

void expect_plain_names(int sock)
{
    const names got = names_of(sock);
    EXPECT_EQ(text_of_end(plain_end(getpeername, sock)), got.peer);
    EXPECT_EQ(text_of_end(plain_end(getsockname, sock)), got.local);
    EXPECT_EQ("own", got.dst);
}

// A machine behind the firewall: a child with a network of its own, which connects to `targets`
// one after the other and keeps the connections. Ended by the destructor.
class neighbour
{
  public:
    explicit neighbour(std::initializer_list<sockaddr_in> targets)
    {
        int ready[2], go[2];
        EXPECT_EQ(0, pipe2(ready, O_CLOEXEC));
        EXPECT_EQ(0, pipe2(go, O_CLOEXEC));
        go_ = go[1];
        child_ = fork();
        EXPECT_GE(child_, 0);
        if (child_ == 0)
            live(ready[1], go[0], go[1], targets);
        close(ready[1]);
        close(go[0]);
        char sign = 0;
        EXPECT_EQ(1, read(ready[0], &sign, 1)) << "the child has no network";
        close(ready[0]);
    }
    ~neighbour()
    {
        if (child_ > 0) { // -1 would be everybody
            kill(child_, SIGKILL);
            waitpid(child_, nullptr, 0);
        }
        close(go_);
    }
    neighbour(const neighbour &) = delete;
    neighbour &operator=(const neighbour &) = delete;

    pid_t pid() const { return child_; }
    void begin() { EXPECT_EQ(1, write(go_, "g", 1)); }

  private:
    [[noreturn]] static void live(int ready, int go, int other_end,
                                  std::initializer_list<sockaddr_in> targets)
    {
        alarm(60);
        close(other_end);
        char sign = 0;
        if (unshare(CLONE_NEWNET) != 0 || write(ready, "r", 1) != 1 || read(go, &sign, 1) != 1)
            _exit(1);
        run_commands({"ip link set lo up", "ip addr add 10.1.0.2/24 dev far0",
                      "ip link set far0 up", "ip route add default via 10.1.0.1"});
        for (const sockaddr_in &target : targets)
            connected_socket(SOCK_STREAM, target);
        pause();
        _exit(0);
    }

    pid_t child_ = -1;
    int go_ = -1;
};

} // namespace

TEST(host_firewall, plain_connection_has_its_plain_names)
{
    SKIP_WITH_DEVICE();
    loopback_connection c;
    expect_plain_names(c.server);
    expect_plain_names(c.client);
}

TEST(host_firewall, datagrams_have_their_plain_names)
{
    SKIP_WITH_DEVICE();
    const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    const test_socket sender(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    sockaddr_in to = plain_end(getsockname, receiver), from{};
    socklen_t length = sizeof from;
    EXPECT_EQ(5, vfw_sendto(sender, "hello", 5, 0, &to, sizeof to, nullptr));
    char text[8];
    EXPECT_EQ(5, vfw_recvfrom(receiver, text, sizeof text, 0, &from, &length, &to));
    EXPECT_EQ(text_of_end(plain_end(getsockname, sender)), text_of_end(from));
    EXPECT_EQ(text_of_end(plain_end(getsockname, receiver)), text_of_end(to));
}

TEST(host_firewall, what_has_no_counterpart_is_refused)
{
    SKIP_WITH_DEVICE();
    const test_socket receiver(bound_socket(SOCK_DGRAM, "127.0.0.1"));
    const test_socket sender(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    std::array<std::uint8_t, 8> timer{};
    std::array<std::uint8_t, 12> redirect{};
    sockaddr_in addr = end_of("127.0.0.1", 0), to = plain_end(getsockname, receiver);
    const sockaddr_in apparent = end_of("10.5.5.5", 55);
    const struct {
        const char *label;
        std::function<ssize_t()> call;
    } cases[] = {
        {"timer", [&] { return vfw_set_udp_timer(timer); }},
        {"add", [&] { return vfw_addredirect(redirect); }},
        {"del", [&] { return vfw_delredirect(redirect); }},
        {"bind", [&] { return vfw_bind_fsa(sender, &addr, &to, &apparent); }},
        {"send",
         [&] {
             return vfw_sendto(sender, "hello", 5, VFW_APPARENT_SENDER, &to, sizeof to, &apparent);
         }},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.label);
        errno = 0;
        EXPECT_EQ(-1, c.call());
        EXPECT_EQ(EOPNOTSUPP, errno);
    }
    char text[8];
    EXPECT_EQ(-1, recv(receiver, text, sizeof text, MSG_DONTWAIT)) << "sent under its own name";

    const int device = open_host_firewall(O_RDONLY);
    fw_local_req question{};
    EXPECT_EQ(-1, request_host_firewall(device, -1, 0xC00C66FF, area_of(question)));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(-1, request_host_firewall(device, -1, FW_NAMES, area_of(question)));
    EXPECT_EQ(EINVAL, errno);
    EXPECT_EQ(0, close_host_firewall(device));
}

TEST(host_firewall, redirected_connection_has_its_true_destination)
{
    SKIP_UNLESS_ROOT();
    SKIP_WITH_DEVICE();
    in_network_namespace([] {
        run_commands({"ip link set lo up", "ip link add near0 type veth peer name far0",
                      "ip addr add 10.1.0.1/24 dev near0", "ip link set near0 up"});
        const test_socket listener(bound_socket(SOCK_STREAM, "0.0.0.0"));
        const std::uint16_t port = ntohs(plain_end(getsockname, listener).sin_port);
        const std::string redirect = "nft 'add table ip t; add chain ip t c { type nat hook "
                                     "prerouting priority -100; }; add rule ip t c ip daddr "
                                     "10.9.0.0/16 tcp dport 80 redirect to :" +
                                     std::to_string(port) + "'";
        run_commands({redirect.c_str()});

        neighbour client({end_of("10.9.9.9", 80), end_of("10.1.0.1", port)});
        const std::string move = "ip link set far0 netns " + std::to_string(client.pid());
        run_commands({move.c_str()});
        client.begin();

        const test_socket redirected(accepted_socket(listener));
        EXPECT_EQ("10.1.0.1:" + std::to_string(port),
                  text_of_end(plain_end(getsockname, redirected)));
        const names got = names_of(redirected);
        EXPECT_EQ(text_of_end(plain_end(getpeername, redirected)), got.peer);
        EXPECT_EQ(0u, got.peer.find("10.1.0.2:"));
        EXPECT_EQ("10.9.9.9:80", got.local);
        EXPECT_EQ("10.9.9.9:80", got.dst);

        // Tracked as well, but meant for the firewall.
        const test_socket direct(accepted_socket(listener));
        expect_plain_names(direct);

        // An own outgoing connection: the filter's destination is its far end.
        const test_socket outgoing(connected_socket(SOCK_STREAM, end_of("10.1.0.1", port)));
        expect_plain_names(outgoing);
    });
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
        EXPECT_EQ(before, open_descriptors());
        const int device = HOST_PLATFORM.vpn_open();
        EXPECT_GE(device, 0);
        EXPECT_EQ(FD_CLOEXEC, fcntl(device, F_GETFD));
        vpn_message message{};
        EXPECT_EQ(-1, vvpn_ioctl(device, 0xC0004701, message));
        EXPECT_EQ(ENOTTY, errno);
        EXPECT_EQ(0, HOST_PLATFORM.vpn_close(device));
    });
}

TEST(host_firewall, own_addresses_are_those_of_the_interfaces)
{
    SKIP_UNLESS_ROOT();
    SKIP_WITH_DEVICE();
    const struct {
        const char *label, *addr;
        int result;
    } cases[] = {
        {"first", "10.1.0.1", 1},      {"second of an interface", "10.1.0.5", 1},
        {"neighbour", "10.1.0.2", 0},  {"the network's broadcast", "10.1.0.255", 0},
        {"elsewhere", "192.0.2.1", 0}, {"loopback", "127.0.0.1", 1},
    };
    in_network_namespace([&] {
        run_commands({"ip link add near0 type veth peer name far0",
                      "ip addr add 10.1.0.1/24 dev near0", "ip addr add 10.1.0.5/24 dev near0"});
        for (const auto &c : cases) {
            SCOPED_TRACE(c.label);
            const sockaddr_in addr = end_of(c.addr, 0);
            EXPECT_EQ(c.result, vfw_checklocal(&addr));
        }
    });
}
