#include "lib/fwall/log/stdlog.h"

#include "lib/ulib/fixed_text.h"
#include "lib/ulib/log_sender.h"
#include "tests/fwall/log_receiver.h"
#include "tests/kdev/open_descriptors.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <syslog.h>

using namespace flatlink;

// The host has no buffer for the next sends, as many as this says.
static int sends_without_buffer = 0;

// Stands in front of the host's call for this program.
extern "C" ssize_t sendto(int fd, const void *bytes, size_t length, int flags,
                          const sockaddr *address, socklen_t address_length)
{
    static const auto host = reinterpret_cast<decltype(&sendto)>(dlsym(RTLD_NEXT, "sendto"));
    if (sends_without_buffer == 0)
        return host(fd, bytes, length, flags, address, address_length);
    --sends_without_buffer;
    errno = ENOBUFS;
    return -1;
}

// A connection to a receiver, and what goes to the system log meanwhile.
struct open_conn {
    log_receiver receiver;
    stdlog_conn conn;

    open_conn()
    {
        EXPECT_EQ(log_open(&conn), 0);
        EXPECT_STREQ(conn.address.sun_path, "/dev/stdlog");
        EXPECT_EQ(fcntl(conn.fd, F_GETFD), FD_CLOEXEC);
        set_text(conn.address.sun_path, receiver.path);
        openlog("log", LOG_PERROR, LOG_USER);
        testing::internal::CaptureStderr();
    }
    std::string system_log()
    {
        log_close(&conn);
        closelog();
        return testing::internal::GetCapturedStderr();
    }
};

TEST(LogTransmit, WaitsAWhileForBuffersAndForTheReader)
{
    constexpr int RECORDS = 1000; // more than the queue of a socket holds
    open_conn with;
    const pid_t reader = fork();
    if (reader == 0) {
        usleep(20000); // within the time that a record waits
        int expected = 0;
        while (expected < RECORDS && with.receiver.next_record().aux1 == expected)
            ++expected;
        _exit(expected == RECORDS ? 0 : 1);
    }
    struct sigaction interrupt = {}; // no restart: a send that waits fails with EINTR
    interrupt.sa_handler = [](int) {};
    sigaction(SIGALRM, &interrupt, nullptr);
    const itimerval often{.it_interval = {0, 20000}, .it_value = {0, 20000}}, never{};
    setitimer(ITIMER_REAL, &often, nullptr);
    sends_without_buffer = 50;
    DaemonMsg record;
    for (record.aux1 = 0; record.aux1 < RECORDS; ++record.aux1)
        EXPECT_EQ(log_daemonmsg(3, &record, &with.conn), 1);
    setitimer(ITIMER_REAL, &never, nullptr);
    EXPECT_EQ(with.system_log(), "");
    EXPECT_EQ(sends_without_buffer, 0);
    int status = -1;
    waitpid(reader, &status, 0);
    EXPECT_EQ(status, 0) << "records got lost or changed places";
}

// A reader that does not read costs records, no more time than set, and is told of them.
TEST(LogTransmit, CountsWhatAFullQueueCosts)
{
    log_receiver receiver;
    CStdLog log(LOG_MODE_STDLOG);
    set_text(log.stdlog.address.sun_path, receiver.path);
    openlog("log", LOG_PERROR, LOG_USER);
    testing::internal::CaptureStderr();
    using std::chrono::steady_clock;
    const auto lose = [&](int wait_ms) {
        set_log_wait_ms(wait_ms);
        const auto begun = steady_clock::now();
        EXPECT_EQ(log.log_daemonmsg({}), 1);
        const auto waited = steady_clock::now() - begun;
        EXPECT_GE(waited, std::chrono::milliseconds(wait_ms));
        EXPECT_LT(waited, std::chrono::milliseconds(wait_ms + 40)); // of a busy host
    };
    int sent = 0;
    while (log_send_at_once(&sent, sizeof sent, log.stdlog))
        ++sent;
    lose(0);
    lose(LOG_WAIT_MS);
    for (; sent > 0; --sent)
        EXPECT_EQ(receiver.next().size(), sizeof sent);
    receiver.stop();
    lose(0); // it has gone
    receiver.start();
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(log.log_daemonmsg({}), 1);
    closelog();
    const std::string full = "log: !!! Error sending std log msg: errno=11 Resource temporarily "
                             "unavailable\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              full + full +
                  "log: !!! Error sending std log msg: errno=2 No such file or directory\n");
    EXPECT_EQ(receiver.next_record().event, EVENT_UNSET);
    const DaemonMsg told = receiver.next_record();
    EXPECT_EQ(std::tuple(told.event, told.priority), std::tuple(13510, 3));
    EXPECT_STREQ(told.text, "log records lost: 3");
    EXPECT_EQ(receiver.next_record().event, EVENT_UNSET);
}

TEST(LogTransmit, LeavesAFullReceiverForItsSuccessor)
{
    open_conn with;
    set_log_wait_ms(0);
    ASSERT_EQ(log_connect(&with.conn), 0);
    while (log_send_at_once("full", 4, with.conn))
        continue;
    unlink(with.receiver.path.c_str()); // it lives on and does not read
    EXPECT_EQ(log_transmit("lost", 4, &with.conn), 1);
    EXPECT_TRUE(with.conn.connected);
    with.receiver.start();
    EXPECT_EQ(log_transmit("one", 3, &with.conn), 1);
    EXPECT_EQ(with.receiver.next(), "one");
    set_log_wait_ms(LOG_WAIT_MS);
    EXPECT_TRUE(with.system_log().ends_with("errno=11 Resource temporarily unavailable\n"));
}

TEST(LogTransmit, OutlivesTheReceiver)
{
    open_conn with;
    (void)log_connect(&with.conn);
    with.receiver.stop();
    EXPECT_EQ(log_transmit("one", 3, &with.conn), 1);
    with.receiver.start();
    const DaemonMsg record;
    EXPECT_EQ(log_daemonmsg(2, &record, &with.conn), 1); // not for the log daemon
    EXPECT_EQ(log_transmit("two", 3, &with.conn), 1);
    EXPECT_EQ(with.receiver.next(), "two");
    EXPECT_EQ(with.system_log(),
              "log: !!! Error sending std log msg: errno=2 No such file or directory\n");
}

TEST(LogTransmit, OpensAClosedConnectionOrFails)
{
    open_conn with;
    const auto before = open_descriptors();
    log_close(&with.conn);
    log_close(&with.conn);                         // twice is allowed
    EXPECT_EQ(log_transmit("one", 3, nullptr), 1); // the daemon's own path has no reader
    EXPECT_EQ(open_descriptors(), before - 1);
    EXPECT_EQ(log_transmit("one", 3, &with.conn), 1);
    EXPECT_EQ(open_descriptors(), before);
    log_close(&with.conn);
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    EXPECT_EQ(log_transmit("one", 3, &with.conn), 0);
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_EQ(with.conn.fd, -1);
    EXPECT_TRUE(with.system_log().ends_with(
        "log: Failed to create stdlog socket errno=24 Too many open files\n"));
}
