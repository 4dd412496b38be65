#include "lib/ulib/host_length.h"

#include "tests/ulib/fake_log.h"

#include <gtest/gtest.h>

TEST(HLengthCorrect, TakesFourBytesOnly)
{
    for (const int length : {4, 0, 3, 5, 16, -4}) {
        SCOPED_TRACE(length);
        const fake_log log;
        EXPECT_EQ(h_lengthCorrect(length, std::string(200, 'h').c_str()), length == 4);
        EXPECT_EQ(fake_log::calls, length == 4 ? 0 : 1);
        if (length == 4)
            continue;
        EXPECT_EQ(fake_log::text, "securityalert: invalid host address length (" +
                                      std::to_string(length) + ") hostname " +
                                      std::string(128, 'h'));
        EXPECT_EQ(fake_log::uniq.event, 10504);
        EXPECT_EQ(fake_log::priority, 5);
    }
}
