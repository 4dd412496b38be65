// The scratch file of a run. It holds secrets in clear, in a folder where anybody may write.
#pragma once

#include <cstdio>

// Opens SCRATCH_FILE for writing, empty and with mode 0600, made anew or taken over from an
// earlier run of this user. Returns null with errno when it cannot be had safely: ELOOP for a
// link, EPERM for what is another user's or no plain file with a single name.
std::FILE *open_scratch_file();
