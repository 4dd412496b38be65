// What the -version option of every proxy prints.
#pragma once

#include <cstdint>

extern const char ver_str[44];
extern const std::int32_t patchlevel; // 0 unless the build defines PATCHLEVEL
