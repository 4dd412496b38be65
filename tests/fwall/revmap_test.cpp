#include "lib/fwall/revmap.h"

#include "tests/fwall/scripted_names.h"

#include <gtest/gtest.h>

TEST(Revmap, GivesNames)
{
    scripted_names names;
    names.names = {{"10.0.0.1", "Mail.Office.LAN"}, {"10.0.0.2", std::string(300, 'N')}};
    static const struct {
        const char *address;
        std::string want;
        std::size_t asked;
    } cases[] = {
        {"10.0.0.1", "mail.office.lan", 1},
        {"0xa.1", "mail.office.lan", 1},
        {"10.0.0.2", std::string(256, 'n'), 1},
        {"10.0.0.3", "unknown", 1},
        {"Mail", "Mail", 0},
        {"", "", 0},
        {nullptr, "unknown", 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.want);
        names.asked.clear();
        EXPECT_EQ(revmap(row.address), row.want);
        EXPECT_EQ(names.asked.size(), row.asked);
    }
}
