#include "flatlink/records/memory_guard.h"

#include <cstdio>

using namespace flatlink;

int flatlink::report_lost_line(const char *message)
{
    if (message != nullptr && *message != '\0')
        std::fprintf(stderr, "%s\n", message);
    return 1;
}
