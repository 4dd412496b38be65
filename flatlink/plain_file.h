// A regular file that a run reads and may replace: opened once, and locked against other runs.
#pragma once

#include "flatlink/fault.h"
#include "flatlink/path_walk.h"
#include "lib/ulib/descriptor.h"

#include <sys/stat.h>

struct plain_file {
    path_end place;
    descriptor fd; // positioned at the start; none when there is no such file
    struct stat status {
    };                   // at the time of opening
    int write_error = 0; // errno of opening it for writing; not 0: `fd` is read-only
};

namespace flatlink
{

// Opens `path` without blocking and fills `file`. A missing file is no fault, unless its folder is
// missing too (ENOENT); anything but a regular file is a fault.
fault open_plain_file(const char *path, plain_file &file);

// Locks the file against other runs until `fd` is closed. Fails when another run holds the lock, or
// has just replaced the file.
fault lock_plain_file(const plain_file &file);

// No fault if the file has not changed since it was opened: still the same inode, size and
// modification time, or still missing.
fault check_unchanged(const plain_file &file);

// Sets `is_same` if `path` names this file, or would name it once it exists. A link as the last
// name of `path` is not followed.
fault is_file_at(const char *path, const plain_file &file, bool &is_same);

} // namespace flatlink
