#include "lib/ulib/pmsg.h"

#include "tests/ulib/fake_log.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>

static std::string printed(const char *message, int useerrno)
{
    testing::internal::CaptureStderr();
    errno = ENOENT;
    pmsg(message, useerrno, UNIQUE_DATA);
    return testing::internal::GetCapturedStderr();
}

TEST(Pmsg, PrintsTheFinishedText)
{
    const std::string no_entry = std::strerror(ENOENT);
    const struct {
        const char *label, *message;
        int useerrno;
        std::string want;
    } cases[] = {
        {"plain, no newline", "hello", 0, "hello"},
        {"percent signs", "100%s %n %d", 0, "100%s %n %d"},
        {"with errno", "open %s", 1, "open %s: " + no_entry},
        {"any other number asks for errno too", "open", -3, "open: " + no_entry},
        {"null", nullptr, 0, ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        EXPECT_EQ(printed(row.message, row.useerrno), row.want);
    }
}

TEST(Pmsg, CutsTheTextAtItsLimit)
{
    const std::string error = std::string(": ") + std::strerror(ENOENT);
    for (const std::size_t length : {1022U, 1023U, 1024U, 2048U}) {
        SCOPED_TRACE(length);
        const std::string message(length, 'm');
        EXPECT_EQ(printed(message.c_str(), 0), message.substr(0, 1023));
        EXPECT_EQ(printed(message.c_str(), 1), (message + error).substr(0, 1023));
    }
    const std::string just_fits(1023 - error.size(), 'm');
    EXPECT_EQ(printed(just_fits.c_str(), 1), just_fits + error);
}

TEST(Pmsg, GoesToTheLogWhenAsked)
{
    const fake_log log;
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = 4711;
    uselog = 1;
    testing::internal::CaptureStderr();
    pmsg("50%d full", 0, uniq);
    uselog = 0;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(fake_log::calls, 1);
    EXPECT_EQ(fake_log::text, "50%d full");
    EXPECT_EQ(fake_log::priority, 5);
    EXPECT_EQ(fake_log::uniq.event, 4711);
}

TEST(Exitmsg, TellsTheDuration)
{
    static const struct {
        const char *label, *name, *front;
    } cases[] = {
        {"with a name", "relay", "relay exit duration="},
        {"without", nullptr, "exit duration="},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        testing::internal::CaptureStderr();
        const std::time_t before = std::time(nullptr);
        exitmsg(before - 100, row.name, UNIQUE_DATA);
        const long slack = std::time(nullptr) - before;
        const std::string text = testing::internal::GetCapturedStderr();
        long seconds = -1;
        ASSERT_TRUE(text.starts_with(row.front)) << text;
        ASSERT_EQ(std::sscanf(text.c_str() + std::strlen(row.front), "%ld", &seconds), 1) << text;
        EXPECT_GE(seconds, 100);
        EXPECT_LE(seconds, 100 + slack);
        EXPECT_TRUE(text.ends_with(std::to_string(seconds) + " seconds")) << text;
    }
}

TEST(Exitmsg, GoesToTheLogWhenAsked)
{
    const fake_log log;
    uselog = 1;
    exitmsg(std::time(nullptr), "relay", UNIQUE_DATA);
    uselog = 0;
    EXPECT_TRUE(fake_log::text.starts_with("relay exit duration=")) << fake_log::text;
}
