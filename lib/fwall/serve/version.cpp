#include "lib/fwall/serve/version.h"

#ifndef PATCHLEVEL
#define PATCHLEVEL 0
#endif

const char ver_str[44] = "release 1.0 patch ";
const std::int32_t patchlevel = PATCHLEVEL;
