// The fuzz target's function on inputs that never change: forms and keys from a fixed sequence,
// so that an ordinary test run plays what a fuzz run begins with.
#include <cstdint>
#include <gtest/gtest.h>
#include <random>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

// The target aborts where cursor, scroll, text and window disagree.
TEST(FormKeys, RandomFormsStayValid)
{
    static const std::uint8_t likely[] = {1,  2,   6,   4,   8,   9,   9,  10, 12, 14, 14, 16,
                                          21, 'a', 'b', ' ', '.', 127, 18, 6,  2,  8,  14, 13};
    std::mt19937 dice(20);
    for (int turn = 0; turn < 600; ++turn) {
        std::vector<std::uint8_t> input(64 + dice() % 600);
        for (std::size_t index = 0; index < input.size(); ++index)
            input[index] = index < 60 || dice() % 8 == 0 ? static_cast<std::uint8_t>(dice())
                                                         : likely[dice() % sizeof likely];
        SCOPED_TRACE(turn);
        EXPECT_EQ(LLVMFuzzerTestOneInput(input.data(), input.size()), 0);
    }
}
