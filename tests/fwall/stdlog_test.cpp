#include "lib/fwall/stdlog.h"

#include "lib/fwall/fixed_text.h"
#include "tests/fwall/log_receiver.h"

#include <cerrno>
#include <csignal>
#include <dlfcn.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <syslog.h>

// The host has no buffer for the next sends, as many as this says.
static int sends_without_buffer = 0;

// Stands in front of the host's call for this program.
extern "C" ssize_t sendto(int fd, const void *bytes, size_t length, int flags,
                          const sockaddr *address, socklen_t address_length)
{
    using call = ssize_t (*)(int, const void *, size_t, int, const sockaddr *, socklen_t);
    static const call host = reinterpret_cast<call>(dlsym(RTLD_NEXT, "sendto"));
    if (sends_without_buffer > 0) {
        --sends_without_buffer;
        errno = ENOBUFS;
        return -1;
    }
    return host(fd, bytes, length, flags, address, address_length);
}

struct open_conn : stdlog_conn {
    explicit open_conn(const std::string &path)
    {
        EXPECT_EQ(log_open(this), 0);
        set_text(address.sun_path, path);
    }
    ~open_conn() { log_close(this); }
    open_conn(const open_conn &) = delete;
    open_conn &operator=(const open_conn &) = delete;
};

// What goes to the system log meanwhile.
struct system_log {
    system_log()
    {
        openlog("log", LOG_PERROR, LOG_USER);
        testing::internal::CaptureStderr();
    }
    std::string text()
    {
        closelog();
        return testing::internal::GetCapturedStderr();
    }
};

TEST(LogOpen, FillsTheConnection)
{
    stdlog_conn conn;
    EXPECT_EQ(conn.fd, -1);
    ASSERT_EQ(log_open(&conn), 0);
    EXPECT_EQ(conn.address.sun_family, 1);
    EXPECT_STREQ(conn.address.sun_path, "/dev/stdlog");
    EXPECT_EQ(sizeof conn.address.sun_path, 108U);
    EXPECT_EQ(fcntl(conn.fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    const int fd = conn.fd;
    log_close(&conn);
    EXPECT_EQ(conn.fd, -1);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    log_close(&conn); // twice is allowed
}

TEST(LogTransmit, WaitsForBuffersAndForTheReader)
{
    constexpr int RECORDS = 400; // more than the queue of a socket holds
    const log_receiver receiver(300);
    open_conn conn(receiver.path);
    struct sigaction interrupt = {};
    struct sigaction before = {};
    interrupt.sa_handler = [](int) {};
    sigaction(SIGALRM, &interrupt, &before); // no restart: a send that waits fails with EINTR
    const itimerval often{.it_interval = {0, 20000}, .it_value = {0, 20000}};
    const itimerval never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    system_log log;
    sends_without_buffer = 50;
    for (int i = 0; i < RECORDS; ++i) {
        DaemonMsg record;
        record.aux1 = i;
        EXPECT_EQ(log_daemonmsg(3, &record, &conn), 1);
    }
    setitimer(ITIMER_REAL, &never, nullptr);
    sigaction(SIGALRM, &before, nullptr);
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(sends_without_buffer, 0);
    for (int i = 0; i < RECORDS; ++i) {
        const auto got = receiver.next_record();
        ASSERT_TRUE(got) << i;
        ASSERT_EQ(got->aux1, i);
    }
}

TEST(LogTransmit, OutlivesTheReceiver)
{
    log_receiver receiver;
    open_conn conn(receiver.path);
    EXPECT_EQ(log_transmit("one", 3, &conn), 1);
    EXPECT_EQ(receiver.next(), "one");
    receiver.stop();
    system_log log;
    EXPECT_EQ(log_transmit("two", 3, &conn), 1);
    EXPECT_EQ(log.text(),
              "log: !!! Error sending std log msg: errno=2 No such file or directory\n");
    receiver.start();
    EXPECT_EQ(log_transmit("three", 5, &conn), 1);
    EXPECT_EQ(receiver.next(), "three");
}

TEST(LogTransmit, OpensAClosedConnection)
{
    const int before = dup(0);
    close(before);
    stdlog_conn conn;
    system_log log; // the daemon's own path has no reader, or one that refuses three bytes
    EXPECT_EQ(log_transmit("one", 3, &conn), 1);
    EXPECT_GE(conn.fd, 0);
    log_close(&conn);
    EXPECT_EQ(log_transmit("one", 3, nullptr), 1);
    (void)log.text();
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

TEST(LogTransmit, FailsWithoutASocket)
{
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const int next = dup(0);
    close(next);
    stdlog_conn conn;
    system_log log;
    const rlimit none{.rlim_cur = static_cast<rlim_t>(next), .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(log_transmit("one", 3, &conn), 0);
    EXPECT_EQ(log_transmit("one", 3, nullptr), 0);
    EXPECT_EQ(log_open(&conn), EMFILE);
    EXPECT_EQ(conn.fd, -1);
    setrlimit(RLIMIT_NOFILE, &limit);
    const std::string line = "log: Failed to create stdlog socket errno=24 Too many open files\n";
    EXPECT_EQ(log.text(), line + line + line);
}

TEST(LogDaemonmsg, GoesByTheMode)
{
    const log_receiver receiver;
    open_conn conn(receiver.path);
    for (const int mode : {0, 1, 2, 3, 4, 5}) {
        DaemonMsg record;
        record.aux1 = mode;
        EXPECT_EQ(log_daemonmsg(mode, &record, &conn), 1);
    }
    EXPECT_EQ(log_transmit("end", 3, &conn), 1);
    for (const int mode : {1, 3, 5})
        EXPECT_EQ(receiver.next_record().value_or(DaemonMsg{}).aux1, mode);
    EXPECT_EQ(receiver.next(), "end");
}
