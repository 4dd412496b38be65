// Resolves a path with all its links to a folder and a name in it. A file that is to be replaced is
// addressed by these two: renaming a part of the path meanwhile does not redirect the replacement.
#pragma once

#include "flatlink/fault.h"
#include "lib/ulib/descriptor.h"

#include <string>
#include <sys/stat.h>

struct path_end {
    descriptor folder; // open with O_PATH
    std::string name;  // in that folder; may not exist; "." when the path ends in '/'
};

namespace flatlink
{

// Walks `path` name by name and fills `end`. The last name need not exist; ENOENT means that a
// folder is missing. A path that leads through /dev or /proc, even by a link or another mount, is
// refused: entries there stand for something else, such as an open descriptor, and cannot be
// replaced by a file.
fault walk_path(const char *path, path_end &end);

// Whether both are the same file (device and inode); contents do not count.
bool is_same_file(const struct stat &a, const struct stat &b);

} // namespace flatlink
