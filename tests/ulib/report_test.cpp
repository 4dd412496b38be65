// Reports, messages and the look at raw memory.
#include "lib/ulib/report.h"

#include "lib/ulib/dump.h"
#include "lib/ulib/pmsg.h"
#include "tests/ulib/fake_log.h"

#include <cerrno>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <syslog.h>

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
        const fake_log log;
        report_hook = present & 4 ? report_hook : nullptr;
        UNIQUE_DATA_T uniq = UNIQUE_DATA;
        uniq.event = 77;
        const std::string system_log = printed([&] {
            SendLog(present & 1 ? servContext : nullptr, present & 2 ? connContext : nullptr, uniq,
                    LOG_WARNING, "%s is %d%%", "this", 5);
        });
        EXPECT_EQ(fake_log::texts, present == 7 ? "this is 5%\n" : "");
        EXPECT_EQ(system_log.find("this is 5%") != std::string::npos, present != 7) << system_log;
    }
    EXPECT_EQ(fake_log::priority, LOG_WARNING);
    EXPECT_EQ(fake_log::uniq.event, 77);
    closelog();
}

TEST(Outofcore, ReportsAndEndsTheProcessWithStatusZero)
{
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

TEST(Pmsg, PrintsTheFinishedTextUpToItsLimit)
{
    const std::string error = std::string(": ") + std::strerror(ENOENT);
    const std::string m1023(1023, 'm'), fits(1023 - error.size(), 'm');
    const struct {
        std::string message;
        int useerrno;
        std::string want;
    } cases[] = {
        {"100%s %n %d", 0, "100%s %n %d"},
        {"open %s", 1, "open %s" + error},
        {"open", -3, "open" + error},
        {m1023 + "x", 0, m1023},
        {m1023 + m1023, 1, m1023},
        {fits, 1, fits + error},
        {fits + "m", 1, (fits + "m" + error).substr(0, 1023)},
    };
    for (const auto &row : cases)
        EXPECT_EQ(printed([&] { pmsg(row.message.c_str(), row.useerrno, UNIQUE_DATA); }), row.want);
    EXPECT_EQ(printed([&] { pmsg(nullptr, 0, UNIQUE_DATA); }), "");
}

TEST(Pmsg, GoesToTheLogWhenAsked)
{
    const fake_log log;
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = 4711;
    uselog = 1;
    EXPECT_EQ(printed([&] { pmsg("50%d full", 0, uniq); }), "");
    exitmsg(std::time(nullptr) - 100, "relay", UNIQUE_DATA);
    uselog = 0;
    EXPECT_TRUE(fake_log::texts.starts_with("50%d full\nrelay exit duration=10"))
        << fake_log::texts;
    EXPECT_EQ(fake_log::priority, 5);
}

TEST(Exitmsg, TellsTheDuration)
{
    const std::time_t start = std::time(nullptr) - 100;
    const std::string text = printed([&] { exitmsg(start, nullptr, UNIQUE_DATA); });
    long seconds = 0;
    ASSERT_EQ(std::sscanf(text.c_str(), "exit duration=%ld", &seconds), 1) << text;
    EXPECT_GE(seconds, 100);
    EXPECT_LE(seconds, std::time(nullptr) - start);
    EXPECT_EQ(text, "exit duration=" + std::to_string(seconds) + " seconds");
}

TEST(DumpStruct, PrintsRowsOfEight)
{
    static const unsigned char bytes[] = {0, 1, 0x7f, 0x80, 0xff, 5, 6, 7, 8, 9};
    testing::internal::CaptureStdout();
    dump_struct("rec", bytes, 9);
    dump_struct("rec", bytes, -1);
    dump_struct("rec", nullptr, 4);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "rec(9 bytes):00 01 7f 80 ff 05 06 07 \n08 \nrec(-1 bytes):rec(4 bytes):");
}
