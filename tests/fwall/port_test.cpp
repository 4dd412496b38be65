#include "lib/fwall/port.h"

#include "tests/fwall/scripted_names.h"

#include <gtest/gtest.h>

TEST(StrToPort, TakesNumbersAndServices)
{
    scripted_names names;
    names.services = {{"smtp", 25}, {"high", 65535}};
    static const struct {
        const char *port;
        int want;
    } cases[] = {{"80", 80},   {"0080", 80},    {"", 0},
                 {"smtp", 25}, {"high", 65535}, {"99999999999", 2147483647}};
    for (const auto &row : cases)
        EXPECT_EQ(str_to_port(row.port), row.want) << row.port;
}

TEST(StrToPortDeathTest, EndsTheProcessWithoutAPort)
{
    scripted_names names;
    names.services = {{"smtp", 25}};
    for (const char *port : {"SMTP", "-1", "25 ", "+25", static_cast<const char *>(nullptr)})
        EXPECT_EXIT((void)str_to_port(port), testing::ExitedWithCode(1), "");
}
