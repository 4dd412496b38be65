// The judgement of a fuzz target: what does not hold ends the process, so that the input is kept.
#pragma once

#include <cstdlib>
#include <string_view>
#include <unistd.h>

inline void must(bool holds, std::string_view what)
{
    if (holds)
        return;
    // Past the standard stream, which a target may have silenced.
    (void)!write(STDERR_FILENO, what.data(), what.size());
    (void)!write(STDERR_FILENO, "\n", 1);
    std::abort();
}
