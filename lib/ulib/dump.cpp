#include "lib/ulib/dump.h"

#include <cstdio>

void dump_struct(const char *name, const void *bytes, int length)
{
    constexpr int ROW_BYTES = 8;
    std::printf("%s(%d bytes):", name == nullptr ? "" : name, length);
    const int count = bytes == nullptr || length < 0 ? 0 : length;
    const auto *byte = static_cast<const unsigned char *>(bytes);
    for (int i = 0; i < count; ++i)
        std::printf("%02x %s", byte[i], (i + 1) % ROW_BYTES == 0 ? "\n" : "");
    if (count % ROW_BYTES != 0)
        std::printf("\n");
}
