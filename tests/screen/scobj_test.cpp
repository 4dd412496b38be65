#include "lib/screen/scobj.h"

#include "lib/screen/label.h"
#include "tests/screen/terminal.h"

#include <gtest/gtest.h>
#include <new>

static bool memory_ends = false;

// The allocation that constructors use, with a switch that makes it fail.
void *operator new(std::size_t size, const std::nothrow_t &) noexcept
{
    return memory_ends ? nullptr : ::operator new(size);
}

TEST(Memory, ExhaustedEndsTheProgramAndCurses)
{
    const test_screen screen(5, 20);
    EXPECT_EXIT(
        {
            (void)std::atexit([] { (void)std::fputs(isendwin() ? "ended" : "running", stderr); });
            memory_ends = true;
            sc_newlabel(0, 0, "");
        },
        testing::ExitedWithCode(1), "^Fatal error: could not allocate memory.\nended$");
}
