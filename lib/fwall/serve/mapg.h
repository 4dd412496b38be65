// Group numbers from the texts of the configuration.
#pragma once

#include <cstdint>

// The number of a group: a text of digits gives their value (0 for the empty text), any other the
// number of the host's group of that name. -1 for an unknown name and for null.
std::int32_t mapgid(const char *name);
