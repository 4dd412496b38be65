// Reports, messages and the look at raw memory.
#include "lib/ulib/report.h"

#include "lib/ulib/dump.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/pmsg.h"
#include "tests/ulib/report_log.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <syslog.h>

using namespace flatlink;

// What a call prints on the error stream.
static std::string printed(const std::function<void()> &call)
{
    testing::internal::CaptureStderr();
    errno = ENOENT;
    call();
    return testing::internal::GetCapturedStderr();
}

TEST(SendLog, GoesToTheHookOnlyWithBothContextsAndAHook)
{
    openlog("report", LOG_PERROR, LOG_USER); // the system log's lines on the error stream, too
    for (unsigned present = 0; present < 8; ++present) {
        const report_log log;
        report_hook = present & 4 ? report_hook : nullptr;
        const std::string system_log = printed([&] {
            SendLog(present & 1 ? servContext : nullptr, present & 2 ? connContext : nullptr,
                    UNIQUE_DATA, LOG_WARNING, "%s is %d%%", "this", 5);
        });
        EXPECT_EQ(report_log::texts, present == 7 ? "this is 5%\n" : "");
        EXPECT_EQ(system_log.find("this is 5%") != std::string::npos, present != 7) << system_log;
    }
    EXPECT_EQ(report_log::priority, LOG_WARNING);
    closelog();
}

TEST(ReportTap, SeesAReportBeforeTheLogsAndMayKeepIt)
{
    static std::string seen;
    seen.clear();
    report_tap = [](const UNIQUE_DATA_T &uniq, int priority, const char *format, va_list args) {
        char text[64];
        std::vsnprintf(text, sizeof text, format, args);
        seen += std::to_string(uniq.event) + "/" + std::to_string(priority) + " " + text + "\n";
        return priority > LOG_WARNING;
    };
    const report_log log;
    for (const int priority : {LOG_WARNING, LOG_NOTICE})
        SendLog(servContext, connContext, UNIQUE_DATA, priority, "%d left", priority);
    syslog_notice(EVENT_BAD_ENTRY, 7, "%s", "of a log in the making");
    report_tap = nullptr;
    EXPECT_EQ(report_log::texts, "4 left\n");
    EXPECT_EQ(seen, "501/4 4 left\n501/5 5 left\n" +
                        std::to_string(static_cast<int>(EVENT_BAD_ENTRY)) +
                        "/5 of a log in the making\n");
}

TEST(Outofcore, ReportsAndEndsTheProcessWithStatusZero)
{
    EXPECT_EXIT(
        {
            const report_log log;
            std::atexit([] {
                std::fprintf(stderr, "%d %d %s", report_log::priority, report_log::uniq.event,
                             report_log::text.c_str());
            });
            outofcore();
        },
        testing::ExitedWithCode(0), "5 13507 libtoken: out of memory");
}

TEST(Pmsg, PrintsTheFinishedTextUpToItsLimit)
{
    const std::string error = std::string(": ") + std::strerror(ENOENT);
    const auto message = [](const std::string &text, int useerrno) {
        return printed([&] { pmsg(text.c_str(), useerrno, UNIQUE_DATA); });
    };
    EXPECT_EQ(message("100%s %n %d", 0), "100%s %n %d");
    EXPECT_EQ(message("open %s", -3), "open %s" + error);
    EXPECT_EQ(message(std::string(1024, 'm'), 0), std::string(1023, 'm'));
    const std::string over(1024 - error.size(), 'm');
    EXPECT_EQ(message(over, 1), (over + error).substr(0, 1023));
    EXPECT_EQ(printed([&] { pmsg(nullptr, 0, UNIQUE_DATA); }), "");
}

TEST(Pmsg, GoesToTheLogWhenAsked)
{
    const report_log log;
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = 4711;
    uselog = 1;
    EXPECT_EQ(printed([&] { pmsg("50%d full", 0, uniq); }), "");
    EXPECT_EQ(report_log::uniq.event, 4711);
    exitmsg(std::time(nullptr) - 100, "relay", UNIQUE_DATA);
    uselog = 0;
    EXPECT_TRUE(report_log::texts.starts_with("50%d full\nrelay exit duration=10"))
        << report_log::texts;
    EXPECT_TRUE(report_log::texts.ends_with(" seconds\n"));
    EXPECT_EQ(report_log::priority, 5);
}

TEST(DumpStruct, PrintsRowsOfEight)
{
    testing::internal::CaptureStdout();
    dump_struct("rec", "\x00\x01\x7f\x80\xff\x05\x06\x07\x08", 9);
    dump_struct("rec", nullptr, 4);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "rec(9 bytes):00 01 7f 80 ff 05 06 07 \n08 \nrec(4 bytes):");
}
