// Replaces the content of a file atomically.
#pragma once

#include "flatlink/fault.h"
#include "flatlink/plain_file.h"

#include <string_view>

// How far a replacement got that failed.
enum class replacement {
    NONE,     // the old file is unchanged
    COMPLETE, // the new content is in place; only flushing it to the disk failed
    DAMAGED,  // the file was partly written in place
};

namespace flatlink
{

// Replaces `file`, or creates it: writes a new file with the same owner, mode and extended
// attributes, flushes it to the disk and renames it over the old one. Where that is not allowed (no
// write permission on the folder, an owner that can't be set, a file that is a mount point), it
// writes the file in place.
//   save_copy  called before writing in place: makes sure that `content` is on the disk elsewhere;
//              if it fails, its fault is returned and nothing is written
//   done       how far the replacement got; worth a look only after a fault
// Returns the fault, if any.
fault replace_file(const plain_file &file, std::string_view content, fault (*save_copy)(),
                   replacement &done);

} // namespace flatlink
