// Descriptors 0, 1 and 2. If a program is started without them, the first files that it opens get
// their numbers. Putting a client's socket there would later close the log or, worse, send its
// records to the client.
#pragma once

namespace flatlink
{

// Opens /dev/null on those of the three that are closed. Without a /dev/null they stay closed.
void fill_standard_fds();

// Puts /dev/null on all three; without a /dev/null they are unchanged.
void standard_fds_to_null();

// Moves `fd` to all three.
void standard_fds_from(int fd);

} // namespace flatlink
