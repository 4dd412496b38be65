// Copies owner, mode and extended attributes (access control lists included) to a file that
// replaces another.
#pragma once

#include "flatlink/fault.h"

#include <sys/stat.h>

namespace flatlink
{

// Gives the open file `to` the owner, extended attributes and mode of `from`, in this order: at no
// moment can a user open `to` who could not open `from`.
//   status  that of `from`
fault copy_attributes(int from, const struct stat &status, int to);

} // namespace flatlink
