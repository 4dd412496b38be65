#include "lib/fwall/serve/daemon_signals.h"

#include "lib/fwall/table/proxy.h"
#include "tests/ulib/report_log.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

// What whole daemons do with signals, children and counts is in tests/system.
TEST(DaemonSignals, KeepErrno)
{
    const sighandler_t before = std::signal(SIGCHLD, SIG_DFL);
    const report_log log;
    proxy_child_count = 1;
    const pid_t pid = fork();
    if (pid == 0)
        _exit(0);
    siginfo_t info;
    waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT); // ended, not collected
    errno = EDOM;
    waitwaitwait();
    stat_signal();
    EXPECT_EQ(errno, EDOM);
    EXPECT_EQ(report_log::lines(), "10002/0 0 of 0 copies currently active\n");
    (void)std::signal(SIGCHLD, before);
}

TEST(DaemonSignals, TellTheCallbackBeforeTheEnd)
{
    const auto end_by = [](int number) {
        const report_log log;
        SetProxyCallBack([](int with) {
            (void)std::fprintf(stderr, "%stold %d", report_log::lines().c_str(), with);
        });
        hup_exit(number);
    };
    EXPECT_EXIT(end_by(SIGINT), testing::ExitedWithCode(1), "caught INT signal\ntold 2");
    EXPECT_EXIT(end_by(SIGQUIT), testing::ExitedWithCode(1), "caught signal 3\ntold 3");
}
