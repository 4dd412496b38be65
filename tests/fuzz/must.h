// What a fuzz target claims: a false claim ends it like any other fault.
#pragma once

#include <cstdlib>

inline void must(bool holds)
{
    if (!holds)
        std::abort();
}
