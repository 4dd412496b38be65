#include "lib/ulib/socket.h"

#include "lib/ulib/host_length.h"
#include "lib/ulib/pmsg.h"
#include "tests/kdev/loopback_sockets.h"
#include "tests/kdev/open_descriptors.h"
#include "tests/ulib/report_log.h"
#include "tests/ulib/scripted_names.h"

#include <cstring>
#include <fcntl.h>
#include <sys/resource.h>

// Messages go to a log that keeps the last one; descriptors are counted.
class Sockets : public testing::Test
{
  protected:
    void SetUp() override
    {
        uselog = 1;
        names.hosts = {{"peer", {{"127.0.0.1"}}},
                       {"10.1.2.3", {{"10.1.2.3"}}},
                       {"203.0.113.1", {{"203.0.113.1"}}},
                       {"10.0.0.16", {{"10.0.0.16"}, 16}}};
    }
    void TearDown() override
    {
        uselog = 0;
        EXPECT_EQ(open_descriptors(), before) << "a descriptor was left open";
    }

    // A result with the reports since the last call, the event of the last in front.
    static std::string told(int result)
    {
        const std::string event = std::to_string(report_log::uniq.event) + " ";
        const std::string text = report_log::texts.empty() ? "" : " " + event + report_log::texts;
        report_log::texts.clear();
        return std::to_string(result) + text;
    }

    report_log log;
    scripted_names names;
    std::ptrdiff_t before = open_descriptors();
    sockaddr_in address{};
    sockaddr *const plain = reinterpret_cast<sockaddr *>(&address);
};

TEST_F(Sockets, SaddrInitFillsTheAddress)
{
    const auto filled = [this](const char *host, int family) {
        std::memset(plain, '?', sizeof address);
        std::string result = told(saddr_init(host, family, htons(80), plain));
        EXPECT_EQ(told(saddr_init(host, family, 0, nullptr)), result);
        EXPECT_TRUE(result == "0" || text_of_end(address) == "no family 0.0.0.0:0");
        return result == "0" ? text_of_end(address) : result;
    };
    EXPECT_EQ(filled(nullptr, 2), "0.0.0.0:80");
    EXPECT_EQ(filled("peer", 2), "127.0.0.1:80");
    EXPECT_EQ(filled("10.1.2.3", 2), "10.1.2.3:80");
    EXPECT_EQ(filled("..peer", 2), "-1 6509 hostname unknown: ..peer\n");
    for (const char *none : {"", "..."})
        EXPECT_EQ(filled(none, 2), "-1 11502 hostname unparsable\n");
    const std::string alert = "10504 securityalert: invalid host address length ";
    EXPECT_EQ(filled("10.0.0.16", 2), "-1 " + alert + "(16) hostname 10.0.0.16\n");
    EXPECT_EQ(report_log::priority, 5);
    EXPECT_EQ(told(h_lengthCorrect(-4, std::string(200, 'h').c_str())),
              "0 " + alert + "(-4) hostname " + std::string(128, 'h') + "\n");
    EXPECT_EQ(filled("peer", 10), "-1 11502 The family(10) not supported yet :-(\n");
}

TEST_F(Sockets, ListenAndConnectMeet)
{
    int port = 0;
    const int listener = serv_listen("peer", 2, plain, &port, nullptr);
    ASSERT_GE(listener, 0);
    address.sin_port = static_cast<in_port_t>(port = plain_end(getsockname, listener).sin_port);
    for (const int client : {cli_conn("peer", 2, port, nullptr), conn_sd(plain)}) {
        const int server = accept(listener, nullptr, nullptr);
        EXPECT_EQ(text_of_end(plain_end(getpeername, client)),
                  text_of_end(plain_end(getsockname, server)));
        EXPECT_EQ(fcntl(client, F_GETFD), FD_CLOEXEC);
        close(server);
        close(client);
    }
    const int below = htons(static_cast<in_port_t>(ntohs(address.sin_port) - 1));
    const int above = htons(static_cast<in_port_t>(ntohs(address.sin_port) + 300));
    for (const int *high : {static_cast<const int *>(nullptr), &below})
        EXPECT_EQ(told(serv_listen("peer", 2, plain, &port, high)),
                  "-3 11504 All ports are in use\n");
    const int next = serv_listen("peer", 2, plain, &port, &above);
    EXPECT_EQ(plain_end(getsockname, next).sin_port, port);
    EXPECT_EQ(address.sin_port, port);
    close(next);
    port = plain_end(getsockname, listener).sin_port;
    close(listener);
    EXPECT_EQ(told(cli_conn("peer", 2, port, plain)), "-2 6502 cli_conn: Connection refused\n");
    EXPECT_EQ(told(conn_sd(plain)), "-1 6502 connect:: Connection refused\n");
}

TEST_F(Sockets, FailuresCloseAndAreReported)
{
    int port = 0;
    EXPECT_EQ(told(cli_conn("nobody", 2, 0, nullptr)), "-1 6509 hostname unknown: nobody\n");
    EXPECT_EQ(told(serv_listen("203.0.113.1", 2, plain, &port, nullptr)),
              "-3 6503 bindport: Cannot assign requested address\n");
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(told(cli_conn("peer", 2, 0, nullptr)), "-1 13510 socket init: Too many open files\n");
    EXPECT_EQ(told(conn_sd(plain)), "-1 6500 socket: Too many open files\n");
    setrlimit(RLIMIT_NOFILE, &limit);
}

TEST_F(Sockets, ServSelectEndsAnIdleWait)
{
    const int ready = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(ready, &set);
    EXPECT_EQ(serv_select(ready + 1, &set, nullptr, 1, 1), 1); // the count begins
    int result = serv_select(0, nullptr, nullptr, 1, 60);
    for (int waits = 0; result == 0 && waits < 3; ++waits)
        result = serv_select(0, nullptr, nullptr, 1, 1);
    EXPECT_EQ(told(result), "-99 6005 idle timed out duration=1 seconds\n");
    EXPECT_EQ(told(serv_select(-1, nullptr, nullptr, 1, 0)), "-22 6506 select: Invalid argument\n");
    for (const int fd : {ready, -1, FD_SETSIZE})
        clear_close_fd(fd, &set, nullptr);
    EXPECT_FALSE(FD_ISSET(ready, &set));
}
