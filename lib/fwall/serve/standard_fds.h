// Descriptors 0, 1 and 2. A program may be started without them; the first files that it opens
// would then take their numbers, and what is later put there would cut off the log or, worse, send
// its records to a client.
#pragma once

namespace flatlink
{

// Puts /dev/null on those of the three that are closed. Without a /dev/null they stay closed.
void fill_standard_fds();

// Puts /dev/null on all three; without a /dev/null they stay as they are.
void standard_fds_to_null();

// Moves `fd` to all three.
void standard_fds_from(int fd);

} // namespace flatlink
