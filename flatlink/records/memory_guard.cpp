#include "flatlink/records/memory_guard.h"

#include <cstdio>

int report_lost_line(const char *message)
{
    if (message != nullptr)
        std::fprintf(stderr, "%s\n", message);
    return 1;
}
