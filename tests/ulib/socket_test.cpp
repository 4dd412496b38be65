#include "lib/ulib/socket.h"

#include "lib/ulib/pmsg.h"
#include "tests/ulib/fake_log.h"

#include <arpa/inet.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

static int answer_length = 4;  // of the answers below
static bool has_answer = true; // of the host's own name

// Stands in front of the host's name service for this program: a name of the form "peer" is the
// loopback address, dotted addresses are themselves, and nothing is asked outside.
extern "C" hostent *gethostbyname(const char *name)
{
    static in_addr address;
    static char *addresses[2] = {reinterpret_cast<char *>(&address), nullptr};
    static hostent answer;
    char own[256];
    (void)gethostname(own, sizeof own);
    const bool known =
        std::strcmp(name, "peer") == 0 || (std::strcmp(name, own) == 0 && has_answer);
    if (!known && inet_aton(name, &address) == 0)
        return nullptr;
    if (known)
        address.s_addr = htonl(INADDR_LOOPBACK);
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
        has_answer = true;
        EXPECT_EQ(next_fd(), before) << "a descriptor was left open";
    }

    // The last report since the last call, with its event in front; "" for none.
    static std::string report()
    {
        const std::string text =
            fake_log::calls == 0 ? "" : std::to_string(fake_log::uniq.event) + " " + fake_log::text;
        EXPECT_LE(fake_log::calls, 1);
        fake_log::calls = 0;
        return text;
    }

    fake_log log;
    int before = next_fd();
};

static sockaddr *plain(sockaddr_in &address)
{
    return reinterpret_cast<sockaddr *>(&address);
}

static sockaddr *plain(sockaddr_un &address)
{
    return reinterpret_cast<sockaddr *>(&address);
}

static int bound_port(int fd)
{
    sockaddr_in address{};
    socklen_t length = sizeof address;
    getsockname(fd, plain(address), &length);
    return address.sin_port;
}

static bool is_free(int port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<in_port_t>(port));
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    const bool bound = bind(fd, plain(address), sizeof address) == 0;
    close(fd);
    return bound;
}

// A free port with a free one behind it, below those that the host gives to clients.
static int free_port()
{
    int port = 20000 + getpid() % 8000;
    while (!is_free(port) || !is_free(port + 1))
        port = port < 30000 ? port + 1 : 20000;
    return htons(static_cast<in_port_t>(port));
}

static int behind(int port_be, int count)
{
    return htons(static_cast<in_port_t>(ntohs(static_cast<in_port_t>(port_be)) + count));
}

TEST_F(Sockets, SaddrInitFillsTheAddress)
{
    static const struct {
        const char *label, *host;
        int family, length, result;
        std::uint32_t address; // natural order
        const char *report;
    } cases[] = {
        {"any address", nullptr, 2, 4, 0, 0, ""},
        {"name", "peer", 2, 4, 0, 0x7f000001, ""},
        {"dotted", "10.1.2.3", 2, 4, 0, 0x0a010203, ""},
        {"unknown", "nobody", 2, 4, -1, 0, "6509 hostname unknown: nobody"},
        {"points in front belong to the name", "..peer", 2, 4, -1, 0,
         "6509 hostname unknown: ..peer"},
        {"points only", "...", 2, 4, -1, 0, "11502 hostname unparsable"},
        {"empty", "", 2, 4, -1, 0, "11502 hostname unparsable"},
        {"answer of a wrong length", "peer", 2, 16, -1, 0,
         "10504 securityalert: invalid host address length (16) hostname peer"},
        {"other family", "peer", 10, 4, -1, 0, "11502 The family(10) not supported yet :-("},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        answer_length = row.length;
        sockaddr_in got;
        std::memset(&got, '?', sizeof got);
        EXPECT_EQ(saddr_init(row.host, row.family, htons(8080), plain(got)), row.result);
        EXPECT_EQ(report(), row.report);
        EXPECT_EQ(saddr_init(row.host, row.family, 0, nullptr), row.result);
        (void)report();
        EXPECT_EQ(got.sin_family, row.result == 0 ? 2 : 0);
        EXPECT_EQ(got.sin_port, row.result == 0 ? htons(8080) : 0);
        EXPECT_EQ(ntohl(got.sin_addr.s_addr), row.address);
    }
}

TEST_F(Sockets, SaddrInitOfTheLocalFamilyChangesSixteenBytes)
{
    sockaddr_un got;
    std::memset(&got, '?', sizeof got);
    EXPECT_EQ(saddr_init(nullptr, 1, 99, plain(got)), 0);
    EXPECT_EQ(got.sun_family, 1);
    EXPECT_EQ(std::string(got.sun_path, 15), std::string(14, '\0') + "?");
    EXPECT_EQ(saddr_init("10.1.2.3", 1, 99, plain(got)), 0);
    EXPECT_EQ(std::string(got.sun_path, 15), "\x0a\x01\x02\x03" + std::string(10, '\0') + "?");
}

TEST_F(Sockets, SaddrlenKnowsTwoFamilies)
{
    sockaddr address{};
    EXPECT_EQ(saddrlen(1, &address), 110U);
    EXPECT_EQ(saddrlen(2, &address), 16U);
    EXPECT_EQ(saddrlen(10, &address), 0U);
    EXPECT_EQ(saddrlen(2, nullptr), 0U);
}

TEST_F(Sockets, SockInitClosesBehindABadAddress)
{
    sockaddr_in address{};
    EXPECT_EQ(sock_init("nobody", 2, 0, SOCK_STREAM, plain(address), 0), -1);
    EXPECT_EQ(report(), "6509 hostname unknown: nobody");
    EXPECT_EQ(sock_init("peer", 99, 0, SOCK_STREAM, plain(address), 0), -1);
    EXPECT_EQ(report(), "13510 socket init: Address family not supported by protocol");
    const int fd = sock_init("peer", 2, htons(7), SOCK_DGRAM, plain(address), 0);
    int type = 0;
    socklen_t length = sizeof type;
    getsockopt(fd, SOL_SOCKET, SO_TYPE, &type, &length);
    EXPECT_EQ(type, SOCK_DGRAM);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    close(fd);
}

TEST_F(Sockets, ListenAndConnectMeet)
{
    sockaddr_in address{};
    int port = free_port();
    const int wanted = port;
    const int listener = serv_listen("peer", 2, plain(address), &port, nullptr);
    ASSERT_GE(listener, 0);
    EXPECT_EQ(port, wanted);
    EXPECT_EQ(bound_port(listener), port);
    int reuse = 1;
    socklen_t length = sizeof reuse;
    getsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &reuse, &length);
    EXPECT_EQ(reuse, 0);
    for (const int client : {cli_conn("peer", 2, port, nullptr), conn_sd(plain(address))}) {
        ASSERT_GE(client, 0);
        EXPECT_EQ(fcntl(client, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
        const int server = accept(listener, nullptr, nullptr);
        EXPECT_EQ(write(client, "x", 1), 1);
        char got = 0;
        EXPECT_EQ(read(server, &got, 1), 1);
        EXPECT_EQ(got, 'x');
        close(server);
        close(client);
    }
    close(listener);
    EXPECT_EQ(cli_conn("peer", 2, port, plain(address)), -2);
    EXPECT_EQ(report(), "6502 cli_conn: Connection refused");
    EXPECT_EQ(conn_sd(plain(address)), -1);
    EXPECT_EQ(report(), "6502 connect:: Connection refused");
    EXPECT_EQ(cli_conn("nobody", 2, port, nullptr), -1);
    EXPECT_EQ(report(), "6509 hostname unknown: nobody");
}

TEST_F(Sockets, ServListenTakesTheNextPortOfItsRange)
{
    int first = free_port();
    const int taken = serv_listen("peer", 2, nullptr, &first, nullptr);
    ASSERT_GE(taken, 0);
    static const struct {
        const char *label;
        int high; // behind the first; -1 no range
        int result, port;
        const char *report;
    } cases[] = {
        {"no range", -1, -3, 0, "11504 All ports are in use"},
        {"a range of one", 0, -3, 0, "11504 All ports are in use"},
        {"a range below", -2, -3, 0, "11504 All ports are in use"},
        {"a range of two", 1, 0, 1, ""},
        {"a larger range", 300, 0, 1, ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        int port = first;
        const int high = behind(first, row.high);
        sockaddr_in address{};
        const int fd =
            serv_listen("peer", 2, plain(address), &port, row.high == -1 ? nullptr : &high);
        EXPECT_EQ(report(), row.report);
        EXPECT_EQ(port, behind(first, row.port));
        if (row.result < 0) {
            EXPECT_EQ(fd, row.result);
            continue;
        }
        ASSERT_GE(fd, 0);
        EXPECT_EQ(bound_port(fd), port);
        EXPECT_EQ(address.sin_port, port);
        close(fd);
    }
    close(taken);
}

TEST_F(Sockets, BindportReportsOtherFailures)
{
    sockaddr_in address{};
    int port = 0;
    EXPECT_EQ(serv_listen("203.0.113.1", 2, plain(address), &port, nullptr), -3);
    EXPECT_EQ(report(), "6503 bindport: Cannot assign requested address");
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(bindport(fd, 2, 0, 0, nullptr), -1);
    EXPECT_EQ(report().substr(0, 13), "6503 bindport");
    ASSERT_EQ(saddr_init("peer", 2, 0, plain(address)), 0);
    EXPECT_EQ(bindport(fd, 2, 0, 0, plain(address)), 0);
    EXPECT_EQ(bindport(fd, 2, 0, 0, plain(address)), -1); // bound already
    EXPECT_EQ(report(), "6503 bindport: Invalid argument");
    close(fd);
    EXPECT_EQ(bindport(-1, 2, 0, 0, plain(address)), -1);
    EXPECT_EQ(report(), "6503 bindport: Bad file descriptor");
}

TEST_F(Sockets, BindportOnAPath)
{
    std::string name = (std::filesystem::temp_directory_path() / "socket-XXXXXX").string();
    const std::filesystem::path folder = mkdtemp(name.data());
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, (folder / "path").c_str());
    const int first = socket(AF_UNIX, SOCK_STREAM, 0);
    const int second = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(bindport(first, 1, 5, 9, plain(address)), 5);
    EXPECT_TRUE(std::filesystem::is_socket(folder / "path"));
    EXPECT_EQ(bindport(second, 1, 5, 9, plain(address)), -1);
    EXPECT_EQ(report(), "");
    EXPECT_EQ(bindport(second, 1, 5, 4, plain(address)), -1);
    EXPECT_EQ(report(), "11504 All ports are in use");
    std::strcpy(address.sun_path, (folder / "none/path").c_str());
    EXPECT_EQ(bindport(second, 1, 5, 9, plain(address)), -1);
    EXPECT_EQ(report(), "6503 bindport: No such file or directory");
    close(first);
    close(second);
    std::filesystem::remove_all(folder);
}

TEST_F(Sockets, LocalListenerHasItsName)
{
    sockaddr_un address{};
    std::snprintf(address.sun_path + 14, 40, "socket-test-%d", getpid());
    const sockaddr_un given = address;
    int port = 7;
    const int fd = serv_listen(nullptr, 1, plain(address), &port, nullptr);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(port, -1);
    EXPECT_STREQ(address.sun_path + 14, given.sun_path + 14);
    const int client = socket(AF_UNIX, SOCK_STREAM, 0);
    EXPECT_EQ(connect(client, plain(address), sizeof address), 0);
    close(client);
    EXPECT_EQ(serv_listen(nullptr, 1, plain(address), &port, nullptr), -3); // in use
    EXPECT_EQ(report(), "");
    close(fd);
}

TEST_F(Sockets, LocalClientConnectsWithSixteenBytes)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    EXPECT_EQ(cli_conn(nullptr, 1, 0, nullptr), -2);
    EXPECT_EQ(report(), "6502 cli_conn: Connection refused");
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_EQ(bind(listener, plain(address), 16), 0);
    ASSERT_EQ(listen(listener, 1), 0);
    const int client = cli_conn(nullptr, 1, 0, nullptr);
    EXPECT_GE(client, 0);
    close(client);
    close(listener);
}

TEST_F(Sockets, ReportNoDescriptors)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{.rlim_cur = static_cast<rlim_t>(before), .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    sockaddr_in address{};
    int port = 0;
    EXPECT_EQ(serv_listen("peer", 2, plain(address), &port, nullptr), -1);
    EXPECT_EQ(report(), "13510 socket init: Too many open files");
    EXPECT_EQ(cli_conn("peer", 2, 0, nullptr), -1);
    EXPECT_EQ(report(), "13510 socket init: Too many open files");
    EXPECT_EQ(conn_sd(plain(address)), -1);
    EXPECT_EQ(report(), "6500 socket: Too many open files");
    setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(Sockets, ClearCloseFdClearsBothSets)
{
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    fd_set one;
    fd_set two;
    FD_ZERO(&one);
    FD_ZERO(&two);
    for (fd_set *set : {&one, &two})
        for (const int fd : ends)
            FD_SET(fd, set);
    clear_close_fd(ends[0], &one, &two);
    EXPECT_FALSE(FD_ISSET(ends[0], &one));
    EXPECT_FALSE(FD_ISSET(ends[0], &two));
    EXPECT_TRUE(FD_ISSET(ends[1], &one));
    EXPECT_EQ(fcntl(ends[0], F_GETFD), -1);
    clear_close_fd(ends[1], nullptr, nullptr);
    EXPECT_EQ(fcntl(ends[1], F_GETFD), -1);
    clear_close_fd(-1, &one, &two);
    clear_close_fd(FD_SETSIZE, &one, &two);
    EXPECT_EQ(report(), "");
}

TEST_F(Sockets, GetLocalHostnameNeedsAnAnswer)
{
    char name[256];
    char own[256];
    gethostname(own, sizeof own);
    EXPECT_EQ(get_local_hostname(name), 0);
    EXPECT_STREQ(name, own);
    has_answer = false;
    EXPECT_EQ(get_local_hostname(name), -1);
    EXPECT_EQ(report(), std::string("13510  Can't lookup up my own hostname: ") + own);
}

// One wait on the read end of a pipe.
struct wait_input {
    int ends[2];

    wait_input() { EXPECT_EQ(pipe(ends), 0); }
    ~wait_input()
    {
        close(ends[0]);
        close(ends[1]);
    }
    wait_input(const wait_input &) = delete;
    wait_input &operator=(const wait_input &) = delete;

    int wait(int seconds, int idlelimit) const
    {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(ends[0], &set);
        return serv_select(ends[0] + 1, &set, nullptr, seconds, idlelimit);
    }
};

TEST_F(Sockets, ServSelectEndsAnIdleWait)
{
    const wait_input input;
    ASSERT_EQ(write(input.ends[1], "x", 1), 1);
    EXPECT_EQ(input.wait(1, 1), 1); // activity
    char x = 0;
    ASSERT_EQ(read(input.ends[0], &x, 1), 1);
    int result = 0;
    int waits = 0;
    while (result == 0 && waits < 5) {
        result = input.wait(1, 1);
        ++waits;
    }
    EXPECT_EQ(result, -99);
    EXPECT_LE(waits, 3);
    EXPECT_EQ(report(), "6005 idle timed out duration=1 seconds");
    EXPECT_EQ(input.wait(1, 1), -99); // a time-out is no activity
    EXPECT_EQ(report(), "6005 idle timed out duration=1 seconds");
    EXPECT_EQ(input.wait(1, 0), 0); // but one without limit is
    EXPECT_EQ(input.wait(1, 60), 0);
    EXPECT_EQ(report(), "");
}

TEST_F(Sockets, ServSelectWaitsThreeSecondsByDefault)
{
    const wait_input input;
    timespec from{};
    timespec to{};
    clock_gettime(CLOCK_MONOTONIC, &from);
    EXPECT_EQ(input.wait(0, 0), 0);
    clock_gettime(CLOCK_MONOTONIC, &to);
    const double passed = static_cast<double>(to.tv_sec - from.tv_sec) +
                          static_cast<double>(to.tv_nsec - from.tv_nsec) / 1e9;
    EXPECT_GE(passed, 2.99);
    EXPECT_LT(passed, 60); // whatever else the machine does
}

TEST_F(Sockets, ServSelectSeesAPeerGoAndFailures)
{
    const wait_input input;
    close(input.ends[1]);
    EXPECT_EQ(input.wait(5, 0), 1); // the end of the input is input
    const int spare = dup(0);       // takes the place of the end that is closed
    EXPECT_EQ(spare, input.ends[1]);
    EXPECT_EQ(serv_select(-1, nullptr, nullptr, 1, 0), -EINVAL);
    EXPECT_EQ(report(), "6506 select: Invalid argument");
}

TEST_F(Sockets, ServSelectIsInterruptedInSilence)
{
    const wait_input input;
    struct sigaction interrupt = {};
    struct sigaction old = {};
    interrupt.sa_handler = [](int) {};
    sigaction(SIGALRM, &interrupt, &old);
    const itimerval soon{.it_interval = {0, 0}, .it_value = {0, 50000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    EXPECT_EQ(input.wait(10, 1), -EINTR);
    sigaction(SIGALRM, &old, nullptr);
    EXPECT_EQ(report(), "");
}
