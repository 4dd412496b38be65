// The scratch file of a run. It holds secrets in clear, in a folder where anyone may write, and its
// lock makes sure that only one run at a time writes it.
#pragma once

#include "flatlink/fault.h"
#include "lib/ulib/descriptor.h"

#include <cstdio>

namespace flatlink
{

// Opens SCRATCH_FILE for writing, empty, locked and with mode 0600, made anew or taken over from
// an earlier run of this user. At most one stream is open at a time. Returns null with errno when
// it cannot be had safely: ELOOP for a link, EPERM for a file of another user or one that is not
// plain with a single name, EWOULDBLOCK while another run writes it.
std::FILE *open_scratch_file();

// errno of the first write to the stream that failed since it was opened; 0 for none. Still known
// after the stream is closed.
int scratch_file_error();

// What is written to the stream and flushed is in the file at once, but up to 4 MiB of NUL bytes
// may follow it, until the stream is closed or the process exits. This cuts them off where neither
// happens; safe in a signal handler.
void cut_scratch_file();

// Another descriptor of the open stream's file, which keeps the lock when the stream is closed;
// none, with errno, when there is no descriptor left.
descriptor hold_scratch_file();

// Flushes the file of such a descriptor to the disk; a fault if it can no longer be found at
// SCRATCH_FILE.
fault flush_scratch_file(const descriptor &held);

// Tells on the standard error stream why the scratch file could not be opened or written: `error`
// in words, or whose file it is and what to do.
void report_scratch_file(int error);

} // namespace flatlink
