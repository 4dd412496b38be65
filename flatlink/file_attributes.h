// Owner, mode and extended attributes, access lists among them, of a file that takes the place of
// another.
#pragma once

#include "flatlink/fault.h"

#include <sys/stat.h>

namespace flatlink
{

// Gives the open file `to` the owner, extended attributes and mode of `from`, in this order, so
// that no one reaches `to` who does not reach `from`. `status` is that of `from`.
fault copy_attributes(int from, const struct stat &status, int to);

} // namespace flatlink
