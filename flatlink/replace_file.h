// Puts new content in the place of a file: all of it or nothing.
#pragma once

#include "flatlink/fault.h"
#include "flatlink/plain_file.h"

#include <string_view>

// What was done, should something have failed.
enum class replacement {
    none,     // the old file is as it was
    complete, // the new content is in place; only flushing it to the disk failed
    damaged,  // the file was written in place, and not to the end
};

namespace flatlink
{

// Replaces `file`, or makes it, by a new one that is flushed to the disk and renamed over it, with
// the same owner, mode and extended attributes. Where that is not allowed (no right in the folder,
// an owner that cannot be given, a file mounted by itself), it is written in place.
//   save_copy  called before a file is written in place: makes sure that `content` lies on the
//              disk elsewhere; its fault is returned, and nothing written
// Returns the fault, and what was done in `done`, if there is one.
fault replace_file(const plain_file &file, std::string_view content, fault (*save_copy)(),
                   replacement &done);

} // namespace flatlink
