#include "lib/ulib/socket.h"

#include "lib/ulib/pmsg.h"
#include "tests/ulib/fake_log.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

static int answer_length = 4; // of the answers below

// Stands in front of the host's name service for this program: a name of the form "peer" is the
// loopback address, dotted addresses are themselves, and nothing is asked outside.
extern "C" hostent *gethostbyname(const char *name)
{
    static in_addr address;
    static char *addresses[2] = {reinterpret_cast<char *>(&address), nullptr};
    static hostent answer;
    if (inet_aton(std::strcmp(name, "peer") == 0 ? "127.0.0.1" : name, &address) == 0)
        return nullptr;
    answer = {};
    answer.h_length = answer_length;
    answer.h_addr_list = addresses;
    return &answer;
}

static int next_fd()
{
    const int fd = dup(0);
    close(fd);
    return fd;
}

// Messages go to a log that keeps the last one; descriptors are counted.
class Sockets : public testing::Test
{
  protected:
    void SetUp() override { uselog = 1; }
    void TearDown() override
    {
        uselog = 0;
        answer_length = 4;
        EXPECT_EQ(next_fd(), before) << "a descriptor was left open";
    }

    // A result with the reports since the last call, the event of the last in front.
    static std::string told(int result)
    {
        const std::string event = std::to_string(fake_log::uniq.event) + " ";
        const std::string text = fake_log::texts.empty() ? "" : " " + event + fake_log::texts;
        fake_log::texts.clear();
        return std::to_string(result) + text;
    }

    fake_log log;
    int before = next_fd();
    sockaddr_in address{};
    sockaddr *const plain = reinterpret_cast<sockaddr *>(&address);
};

// The port that a socket has, in network order.
static int bound_port(int fd)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr *>(&address), &length);
    return address.sin_port;
}

TEST_F(Sockets, SaddrInitFillsTheAddress)
{
    static const struct {
        const char *host;
        int family, length;
        std::string want;      // result and report
        std::uint32_t address; // natural order
    } cases[] = {
        {nullptr, 2, 4, "0", 0},
        {"peer", 2, 4, "0", 0x7f000001},
        {"10.1.2.3", 2, 4, "0", 0x0a010203},
        {"nobody", 2, 4, "-1 6509 hostname unknown: nobody\n", 0},
        {"..peer", 2, 4, "-1 6509 hostname unknown: ..peer\n", 0},
        {"...", 2, 4, "-1 11502 hostname unparsable\n", 0},
        {"", 2, 4, "-1 11502 hostname unparsable\n", 0},
        {"peer", 2, 16, "-1 10504 securityalert: invalid host address length (16) hostname peer\n",
         0},
        {"peer", 10, 4, "-1 11502 The family(10) not supported yet :-(\n", 0},
    };
    for (const auto &row : cases) {
        answer_length = row.length;
        std::memset(plain, '?', sizeof address);
        EXPECT_EQ(told(saddr_init(row.host, row.family, htons(8080), plain)), row.want);
        EXPECT_EQ(told(saddr_init(row.host, row.family, 0, nullptr)), row.want);
        EXPECT_EQ(address.sin_family, row.want == "0" ? 2 : 0);
        EXPECT_EQ(address.sin_port, row.want == "0" ? htons(8080) : 0);
        EXPECT_EQ(ntohl(address.sin_addr.s_addr), row.address);
    }
    answer_length = 4;
    sockaddr_un local{};
    std::memset(&local, '?', sizeof local);
    EXPECT_EQ(saddr_init("10.1.2.3", 1, 99, reinterpret_cast<sockaddr *>(&local)), 0);
    EXPECT_EQ(local.sun_family, 1); // sixteen bytes are filled and no more
    EXPECT_EQ(std::string(local.sun_path, 15), "\x0a\x01\x02\x03" + std::string(10, '\0') + "?");
}

TEST_F(Sockets, SockInitClosesBehindABadAddress)
{
    EXPECT_EQ(told(sock_init("nobody", 2, 0, SOCK_STREAM, plain, 0)),
              "-1 6509 hostname unknown: nobody\n");
    EXPECT_EQ(told(sock_init("peer", 99, 0, SOCK_STREAM, plain, 0)),
              "-1 13510 socket init: Address family not supported by protocol\n");
    const int fd = sock_init("peer", 2, htons(7), SOCK_DGRAM, plain, 0);
    int type = 0;
    socklen_t length = sizeof type;
    getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length);
    EXPECT_EQ(type, SOCK_DGRAM);
    EXPECT_EQ(fcntl(fd, F_GETFD), FD_CLOEXEC);
    close(fd);
    EXPECT_EQ(saddrlen(10, plain), 0U);
    EXPECT_EQ(saddrlen(2, nullptr), 0U);
}

TEST_F(Sockets, ListenAndConnectMeet)
{
    int port = 0;
    const int listener = serv_listen("peer", 2, plain, &port, nullptr);
    ASSERT_GE(listener, 0);
    address.sin_port = static_cast<in_port_t>(port = bound_port(listener));
    for (const int client : {cli_conn("peer", 2, port, nullptr), conn_sd(plain)}) {
        ASSERT_GE(client, 0);
        EXPECT_EQ(fcntl(client, F_GETFD), FD_CLOEXEC);
        const int server = accept(listener, nullptr, nullptr);
        char got = 0;
        EXPECT_EQ(write(client, "x", 1), 1);
        EXPECT_EQ(read(server, &got, 1), 1);
        EXPECT_EQ(got, 'x');
        close(server);
        close(client);
    }
    int reuse = 1;
    socklen_t length = sizeof reuse;
    getsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &reuse, &length);
    EXPECT_EQ(reuse, 0);
    close(listener);
    EXPECT_EQ(told(cli_conn("peer", 2, port, plain)), "-2 6502 cli_conn: Connection refused\n");
    EXPECT_EQ(told(conn_sd(plain)), "-1 6502 connect:: Connection refused\n");
    EXPECT_EQ(told(cli_conn("nobody", 2, port, nullptr)), "-1 6509 hostname unknown: nobody\n");
}

TEST_F(Sockets, ServListenTakesTheNextPortOfItsRange)
{
    int none = 0;
    const int taken = serv_listen("peer", 2, nullptr, &none, nullptr);
    ASSERT_GE(taken, 0);
    const int first = bound_port(taken);
    const auto behind = [first](int count) {
        return htons(static_cast<in_port_t>(ntohs(static_cast<in_port_t>(first)) + count));
    };
    int port = first;
    const int same = first, below = behind(-1), last = behind(300);
    for (const int *high : {static_cast<const int *>(nullptr), &same, &below}) {
        EXPECT_EQ(told(serv_listen("peer", 2, plain, &port, high)),
                  "-3 11504 All ports are in use\n");
        EXPECT_EQ(port, first);
    }
    const int fd = serv_listen("peer", 2, plain, &port, &last);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(address.sin_port, port);
    EXPECT_EQ(bound_port(fd), port);
    int second = first;
    const int other = serv_listen("peer", 2, plain, &second, &last);
    EXPECT_GT(ntohs(static_cast<in_port_t>(second)), ntohs(static_cast<in_port_t>(port)));
    close(other);
    close(fd);
    close(taken);
}

TEST_F(Sockets, BindportReportsOtherFailures)
{
    int port = 0;
    EXPECT_EQ(told(serv_listen("203.0.113.1", 2, plain, &port, nullptr)),
              "-3 6503 bindport: Cannot assign requested address\n");
    ASSERT_EQ(saddr_init("peer", 2, 0, plain), 0);
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(bindport(fd, 2, 0, 0, plain), 0);
    EXPECT_EQ(told(bindport(fd, 2, 0, 0, plain)), "-1 6503 bindport: Invalid argument\n");
    close(fd);
}

TEST_F(Sockets, ReportNoDescriptors)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{.rlim_cur = static_cast<rlim_t>(before), .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    int port = 0;
    const std::string socket_init = "-1 13510 socket init: Too many open files\n";
    EXPECT_EQ(told(serv_listen("peer", 2, plain, &port, nullptr)), socket_init);
    EXPECT_EQ(told(cli_conn("peer", 2, 0, nullptr)), socket_init);
    EXPECT_EQ(told(conn_sd(plain)), "-1 6500 socket: Too many open files\n");
    setrlimit(RLIMIT_NOFILE, &limit);
}

// A wait for the input of a pipe.
static int wait_for(int fd, int seconds, int idlelimit)
{
    fd_set set;
    FD_ZERO(&set);
    FD_SET(fd, &set);
    return serv_select(fd + 1, &set, nullptr, seconds, idlelimit);
}

TEST_F(Sockets, ServSelectEndsAnIdleWait)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    EXPECT_EQ(wait_for(ends[0], 1, 1), 1); // activity
    char x = 0;
    ASSERT_EQ(read(ends[0], &x, 1), 1);
    int result = 0;
    for (int waits = 0; result == 0 && waits < 3; ++waits)
        result = wait_for(ends[0], 1, 1);
    EXPECT_EQ(told(result), "-99 6005 idle timed out duration=1 seconds\n");
    EXPECT_EQ(told(wait_for(ends[0], 1, 1)), // a time-out is no activity
              "-99 6005 idle timed out duration=1 seconds\n");
    const std::time_t start = std::time(nullptr);
    EXPECT_EQ(told(wait_for(ends[0], 0, 0)), "0"); // but one without limit is
    EXPECT_GE(std::time(nullptr) - start, 2) << "three seconds by default";
    EXPECT_EQ(told(wait_for(ends[0], 1, 60)), "0");

    struct sigaction interrupt = {}, old = {};
    interrupt.sa_handler = [](int) {};
    sigaction(SIGALRM, &interrupt, &old);
    const itimerval soon{.it_interval = {0, 0}, .it_value = {0, 50000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    EXPECT_EQ(told(wait_for(ends[0], 10, 1)), std::to_string(-EINTR)); // in silence
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_EQ(told(serv_select(-1, nullptr, nullptr, 1, 0)), "-22 6506 select: Invalid argument\n");

    fd_set one, two;
    FD_ZERO(&one);
    FD_ZERO(&two);
    for (fd_set *set : {&one, &two})
        for (const int fd : ends)
            FD_SET(fd, set);
    clear_close_fd(ends[1], &one, &two);
    EXPECT_FALSE(FD_ISSET(ends[1], &one) || FD_ISSET(ends[1], &two));
    EXPECT_TRUE(FD_ISSET(ends[0], &one));
    EXPECT_EQ(wait_for(ends[0], 5, 0), 1); // the end of the input is input
    clear_close_fd(ends[0], nullptr, nullptr);
    clear_close_fd(-1, &one, &two);
    clear_close_fd(FD_SETSIZE, &one, &two);
}
