#include "lib/screen/scobj.h"

#include "lib/screen/label.h"
#include "tests/screen/terminal.h"

#include <gtest/gtest.h>
#include <new>

static bool memory_ends = false;

// The allocation that constructors use, with a switch that makes it fail.
void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    if (memory_ends)
        return nullptr;
    return ::operator new(size);
}

TEST(Chain, AddLinksBothWays)
{
    scobj objects[3];
    scobj *head = nullptr;
    for (scobj &object : objects)
        head = sc_add(head, &object);
    EXPECT_EQ(head, &objects[0]);
    EXPECT_EQ(objects[0].prev, nullptr);
    EXPECT_EQ(objects[0].next, &objects[1]);
    EXPECT_EQ(objects[1].prev, &objects[0]);
    EXPECT_EQ(objects[1].next, &objects[2]);
    EXPECT_EQ(objects[2].prev, &objects[1]);
    EXPECT_EQ(objects[2].next, nullptr);
}

TEST(Chain, DestroyReadsTheNextObjectFirst)
{
    static int destroyed = 0;
    scobj *head = nullptr;
    for (int count = 0; count < 3; ++count) {
        scobj *object = sc_newlabel(0, 0, "");
        object->destroy = [](scobj *gone) {
            ++destroyed;
            sc_release(gone);
        };
        head = sc_add(head, object);
    }
    scobj kept;
    sc_add(head, &kept);
    sc_destroy(head);
    EXPECT_EQ(destroyed, 3);
    sc_destroy(nullptr);
}

TEST(Memory, ExhaustedEndsTheProgramWithTheTerminalPutRight)
{
    const CScreen screen(5, 20);
    ASSERT_FALSE(screen.as_before_curses());
    EXPECT_EXIT(
        {
            memory_ends = true;
            sc_newlabel(0, 0, "");
        },
        testing::ExitedWithCode(1), "^Fatal error: could not allocate memory.\n$");
    EXPECT_TRUE(screen.as_before_curses());
}
