#include "lib/ulib/report.h"

#include "tests/ulib/fake_log.h"

#include <gtest/gtest.h>
#include <syslog.h>

TEST(SendLog, GoesToTheHookOnlyWithBothContextsAndAHook)
{
    static const struct {
        const char *label;
        bool service, connection, hook;
    } cases[] = {
        {"all", true, true, true},
        {"no service context", false, true, true},
        {"no connection context", true, false, true},
        {"neither context", false, false, true},
        {"no hook", true, true, false},
    };
    openlog("report", LOG_PERROR, LOG_USER); // the system log's lines on the error stream, too
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const fake_log log;
        report_hook = row.hook ? report_hook : nullptr;
        UNIQUE_DATA_T uniq = UNIQUE_DATA;
        uniq.event = 77;
        testing::internal::CaptureStderr();
        SendLog(row.service ? servContext : nullptr, row.connection ? connContext : nullptr, uniq,
                LOG_WARNING, "%s is %d%%", "this", 5);
        const std::string system_log = testing::internal::GetCapturedStderr();
        const bool to_hook = row.service && row.connection && row.hook;
        EXPECT_EQ(fake_log::calls, to_hook ? 1 : 0);
        EXPECT_EQ(fake_log::text, to_hook ? "this is 5%" : "");
        EXPECT_EQ(system_log.find("this is 5%") != std::string::npos, !to_hook) << system_log;
        if (to_hook) {
            EXPECT_EQ(fake_log::priority, LOG_WARNING);
            EXPECT_EQ(fake_log::uniq.event, 77);
        }
    }
    closelog();
}

TEST(Outofcore, ReportsAndEndsTheProcessWithStatusZero)
{
    EXPECT_EXIT(
        {
            openlog("report", LOG_PERROR, LOG_USER);
            outofcore();
        },
        testing::ExitedWithCode(0), "libtoken: out of memory");
    EXPECT_EXIT(
        {
            const fake_log log;
            std::atexit([] {
                std::fprintf(stderr, "%d %d %s", fake_log::priority, fake_log::uniq.event,
                             fake_log::text.c_str());
            });
            outofcore();
        },
        testing::ExitedWithCode(0), "5 13507 libtoken: out of memory");
}
