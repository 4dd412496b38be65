// A plain file that a run reads and may replace: opened once, with a lock against other runs.
#pragma once

#include "flatlink/fault.h"
#include "flatlink/path_walk.h"
#include "lib/ulib/descriptor.h"

#include <sys/stat.h>

struct plain_file {
    path_end place;
    descriptor fd; // at the file's start; none when there is no such file
    struct stat status {
    };                   // when it was opened
    int write_error = 0; // errno that opening it for writing gave: `fd` can only be read
};

namespace flatlink
{

// Opens `path`, without waiting for anything, and fills `file`. A file that is not there is no
// fault unless its folder is missing too, which is ENOENT; anything but a plain file is one.
fault open_plain_file(const char *path, plain_file &file);

// Takes the lock that keeps other runs from the file, until `fd` is closed. Refused when another
// run has it, or has just replaced the file.
fault lock_plain_file(const plain_file &file);

// Whether the file is as it was when it was opened: the same one, with the same bytes as far as
// its size and time tell, or still missing.
fault check_unchanged(const plain_file &file);

// Whether `path`, of which the last name is no link, is this file, or would be, once it is there.
fault is_file_at(const char *path, const plain_file &file, bool &is_same);

} // namespace flatlink
