#include "lib/fwall/log.h"

#include "tests/fwall/table_file.h"

#include <gtest/gtest.h>
#include <syslog.h>

TEST(CheckLogConfig, ChoosesTheMode)
{
    static const struct {
        const char *label, *entries;
        int mode;
        const char *report;
    } cases[] = {
        {"no entry", "n: k x\n", 1, ""},
        {"log-enabled alone", "n: log-enabled no\n", 1, ""},
        {"faulty log-enabled alone", "n: log-enabled no no\n", 1, ""},
        {"slf", "n: logging slf\n", 1, ""},
        {"normal", "n: logging normal\n", 2, ""},
        {"both", "n: logging both\n", 3, ""},
        {"none", "n: logging none\n", 0, ""},
        {"first entry counts", "n: logging none\nn: logging both\n", 0, ""},
        {"off", "n: logging slf\nn: log-enabled no\n", 0, ""},
        {"not off", "n: logging both\nn: log-enabled No\n", 3, ""},
        {"log-enabled without value", "n: logging both\nn: log-enabled  \n", 3, ""},
        {"two values of log-enabled", "n: logging none\nn: log-enabled no x\n", 1,
         "cfgerr: log-enabled keyword expects only one value, line 2\n"},
        {"no value", "n: logging  \n", 1,
         "cfgerr: logging keyword expects only one value, line 1\n"},
        {"two values", "\nn: logging normal both\n", 2,
         "cfgerr: logging keyword expects only one value, line 2\n"},
        {"unknown", "n: logging Both\n", 1,
         "cfgerr: invalid value Both for logging keyword, line 1\n"},
        {"two unknown", "n: logging %s %n\n", 1,
         "cfgerr: logging keyword expects only one value, line 1\n"
         "mode: cfgerr: invalid value %s for logging keyword, line 1\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const table_file table(row.entries);
        cfgrec *list = cfg_read("n");
        ASSERT_TRUE(cfg_has(list));
        cfgrec *place = cfg_make("place", 0, 0, 0, nullptr);
        place->next = cfg_make("behind", 0, 0, 0, nullptr);
        (void)cfg_get("place", place);
        openlog("mode", LOG_PERROR, LOG_USER);
        testing::internal::CaptureStderr();
        EXPECT_EQ(Log::CheckLogConfig(list), row.mode);
        closelog();
        const std::string report = *row.report == '\0' ? "" : std::string("mode: ") + row.report;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), report);
        EXPECT_NE(cfg_get("behind", nullptr), nullptr); // a walk that it stands inside goes on
        cfg_free(place);
        cfg_free(list);
    }
}

TEST(CheckLogConfig, ReadsTheDefaultsForANullList)
{
    const table_file table("default_logging: logging both\nn: logging none\n");
    EXPECT_EQ(Log::CheckLogConfig(nullptr), 3);
    table.write("n: logging none\n");
    EXPECT_EQ(Log::CheckLogConfig(nullptr), 1);
    EXPECT_EQ(Log::CheckLogConfig(cfg_failure()), 1);
}
