// User names and numbers of the configuration.
#pragma once

#include <cstdint>

// The number of a user: `name` itself if it is all digits, so 0 for the empty text, else that of
// the host's user of this name. -1 for an unknown name and for null.
std::int32_t mapuid(const char *name);
