// Words to a client. Each line ends with carriage return and newline.
#pragma once

#include <cstddef>

// Send one line. Return 0, or 1 with errno when not all of it could be written. A client that has
// gone is such a failure, not a signal.
int fwall_say(int fd, const char *text); // null is the empty text
int fwall_sayn(int fd, const char *buffer, std::size_t length);

// Sends the lines of a file; one of more than 1023 characters becomes several. Returns 0, or 1 with
// errno when the file can't be opened or read or a write fails, where it stops.
int fwall_sayfile(int fd, const char *path);

namespace flatlink
{

// The same for a regular file alone, of which at most `max_bytes` are read. No path makes it wait:
// what is no regular file is a failure with EISDIR for a folder and EINVAL for all else.
int fwall_saypart(int fd, const char *path, std::size_t max_bytes);

} // namespace flatlink
