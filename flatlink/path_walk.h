// Where a path ends, with all links followed: what is to be replaced by a new file is named by its
// folder and its name there, which stay the same whatever happens to the path on the way.
#pragma once

#include "flatlink/fault.h"
#include "lib/ulib/descriptor.h"

#include <string>
#include <sys/stat.h>

struct path_end {
    descriptor folder; // open with O_PATH
    std::string name;  // in that folder, where there may be nothing; "." when the path ends in '/'
};

namespace flatlink
{

// Walks `path` from name to name and fills `end`. The last name need not exist; ENOENT means that
// a folder is missing. A path over /dev or /proc, in any guise, is refused: what lies there stands
// for something else, such as an open descriptor, which cannot be replaced by a file.
fault walk_path(const char *path, path_end &end);

// Whether both are the same file, whatever its contents.
bool is_same_file(const struct stat &a, const struct stat &b);

} // namespace flatlink
