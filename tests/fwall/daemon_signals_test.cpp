#include "lib/fwall/daemon_signals.h"

#include "lib/fwall/proxy.h"
#include "tests/fwall/report_log.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

// What whole daemons do with signals, children and counts is in tests/system.
TEST(DaemonSignals, KeepErrno)
{
    const sighandler_t before = std::signal(SIGCHLD, SIG_DFL);
    const report_log log;
    proxy_child_count = 5;
    proxy_child_limit = -2147483647;
    for (int i = 0; i < 2; ++i) {
        const pid_t pid = fork();
        if (pid == 0)
            _exit(0);
        siginfo_t info;
        waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT); // ended, not collected
    }
    errno = EDOM;
    waitwaitwait();
    stat_signal();
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(report_log::lines(), "10002/0 3 of -2147483647 copies currently active\n");
    proxy_child_count = proxy_child_limit = 0;
    (void)std::signal(SIGCHLD, before);
}

TEST(DaemonSignalsDeathTest, CallBackAndReport)
{
    EXPECT_EXIT(
        {
            const report_log log;
            (void)std::atexit([] { std::fprintf(stderr, "%s", report_log::lines().c_str()); });
            SetProxyCallBack([](int number) { std::fprintf(stderr, "called %d\n", number); });
            hup_exit(SIGUSR2);
        },
        testing::ExitedWithCode(1), "called 12\n10009/0 caught signal 12\n");
}
