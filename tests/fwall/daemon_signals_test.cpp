#include "lib/fwall/daemon_signals.h"

#include "lib/fwall/proxy.h"
#include "tests/fwall/report_log.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

// What the daemon does with a signal while it waits; whole daemons are in tests/system.

static pid_t child_that_ends()
{
    const pid_t pid = fork();
    if (pid == 0)
        _exit(0);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT); // ended, not collected
    return pid;
}

TEST(Waitwaitwait, CollectsEveryChildAndKeepsErrno)
{
    const sighandler_t before = std::signal(SIGCHLD, SIG_DFL);
    proxy_child_count = 5;
    for (int i = 0; i < 3; ++i)
        child_that_ends();
    errno = EDOM;
    waitwaitwait();
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(proxy_child_count, 2);
    EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);

    // It is the handler now.
    if (fork() == 0)
        _exit(0);
    while (proxy_child_count == 2)
        usleep(1000);
    EXPECT_EQ(proxy_child_count, 1);

    (void)std::signal(SIGCHLD, SIG_DFL);
    add_acceptor(child_that_ends());
    waitwaitwait();
    EXPECT_EQ(proxy_child_count, 1); // no connection
    forget_acceptors();
    proxy_child_count = 0;
    (void)std::signal(SIGCHLD, before);
}

TEST(StatSignal, ReportsTheCountsEachTime)
{
    const report_log log;
    proxy_child_count = 3;
    proxy_child_limit = -1;
    errno = EDOM;
    stat_signal();
    proxy_child_count = -2147483647;
    proxy_child_limit = 2147483647;
    stat_signal();
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(report_log::reports,
              (std::vector<told>{{10002, 0, "3 of -1 copies currently active"},
                                 {10002, 0, "-2147483647 of 2147483647 copies currently active"}}));
    EXPECT_EQ(report_log::priority, REPORT_NOTICE);
    proxy_child_count = proxy_child_limit = 0;
}

static void print_reports()
{
    for (const told &one : report_log::reports)
        std::fprintf(stderr, "%d %s\n", one.event, one.text.c_str());
}

TEST(HupExitDeathTest, ReportsCallsBackAndEnds)
{
    static const struct {
        int number;
        const char *want;
    } cases[] = {{SIGHUP, "called 1\n10009 caught HUP signal\n"},
                 {SIGINT, "called 2\n10009 caught INT signal\n"},
                 {SIGTERM, "called 15\n10009 caught TERM signal\n"},
                 {SIGUSR2, "called 12\n10009 caught signal 12\n"}};
    const report_log log;
    for (const auto &row : cases) {
        SCOPED_TRACE(row.want);
        EXPECT_EXIT(
            {
                std::atexit(print_reports);
                SetProxyCallBack([](int number) { std::fprintf(stderr, "called %d\n", number); });
                hup_exit(row.number);
            },
            testing::ExitedWithCode(1), row.want);
    }
    EXPECT_EXIT(
        {
            std::atexit(print_reports);
            hup_exit(SIGTERM);
        },
        testing::ExitedWithCode(1), "10009 caught TERM signal");
}
