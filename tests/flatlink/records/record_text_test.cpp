#include "flatlink/records/record_text.h"

#include <gtest/gtest.h>
#include <string>

using namespace flatlink;

// A text of up to 15 bytes lies in the object, a longer one outside of it.
TEST(RecordText, HoldsTextsOfAnySize)
{
    const std::string longest(10000, 'x');
    const std::size_t sizes[] = {0, 1, 14, 15, 16, 30, longest.size()};
    for (const std::size_t before : sizes) {
        for (const std::size_t after : sizes) {
            SCOPED_TRACE(std::to_string(before) + " to " + std::to_string(after));
            const std::string text = longest.substr(0, after);
            record_text held(longest.substr(0, before));
            const record_text copy = held;
            held = text;
            EXPECT_EQ(held, text);
            EXPECT_EQ(held.empty(), text.empty());
            EXPECT_EQ(copy, longest.substr(0, before));
            EXPECT_EQ(copy == held, before == after);
            EXPECT_EQ(copy.hash() == held.hash(), before == after);
            const record_text moved = std::move(held);
            EXPECT_EQ(moved, text);
            held = std::string_view("again");
            EXPECT_EQ(held, "again");
            held = std::string_view(held).substr(1); // its own bytes
            EXPECT_EQ(held, "gain");
        }
    }
}
