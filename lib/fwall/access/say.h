// Texts sent to a client. Each line ends with carriage return and newline.
#pragma once

#include <cstddef>

// Send one line. Return 0, or 1 with errno when not all of it could be written. A client that has
// closed the connection is such a failure; no signal is raised.
int fwall_say(int fd, const char *text); // null is the empty text
int fwall_sayn(int fd, const char *buffer, std::size_t length);

// Sends the lines of a file; one of more than 1023 characters becomes several. Returns 0, or 1 with
// errno when the file can't be opened or read, or at the first write that fails.
int fwall_sayfile(int fd, const char *path);

namespace flatlink
{

// The same for a regular file only, of which at most `max_bytes` are sent. Never blocks on opening:
// anything else is a failure, with EISDIR for a directory and EINVAL for the rest.
int fwall_saypart(int fd, const char *path, std::size_t max_bytes);

} // namespace flatlink
