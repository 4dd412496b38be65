#include "lib/ulib/dump.h"

#include <gtest/gtest.h>

TEST(DumpStruct, PrintsRowsOfEight)
{
    static const unsigned char bytes[] = {0, 1, 0x7f, 0x80, 0xff, 5, 6, 7, 8, 9};
    static const struct {
        const char *label;
        const void *bytes;
        int length;
        const char *want;
    } cases[] = {
        {"part of a row", bytes, 3, "rec(3 bytes):00 01 7f \n"},
        {"a full row", bytes, 8, "rec(8 bytes):00 01 7f 80 ff 05 06 07 \n"},
        {"more than a row", bytes, 9, "rec(9 bytes):00 01 7f 80 ff 05 06 07 \n08 \n"},
        {"nothing", bytes, 0, "rec(0 bytes):"},
        {"negative", bytes, -1, "rec(-1 bytes):"},
        {"null", nullptr, 4, "rec(4 bytes):"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        testing::internal::CaptureStdout();
        dump_struct("rec", row.bytes, row.length);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), row.want);
    }
}
