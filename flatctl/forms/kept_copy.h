// Replacing a file that its owner may want back: the old content is kept beside it, in a file of
// the name FILE.YYYYMMDD-HHMMSS~ (UTC) that its owner alone can read.
#pragma once

#include <string>
#include <string_view>

struct plain_file;

namespace flatlink
{

// Copies the content of `file` and flushes the copy to the disk. Returns the empty text with the
// copy's name in `kept`, or what went wrong.
std::string keep_copy(const plain_file &file, std::string &kept);

// Replaces the file, or makes it with mode 0600, and reads it again. Returns the empty text, or
// what went wrong and what that left behind.
std::string replace_and_compare(const plain_file &file, std::string_view content);

// The newest copy in the folder of the file, by its name there; empty if there is none.
std::string newest_copy(const plain_file &file);

} // namespace flatlink
