// The scratch file of a run. It holds secrets in clear text, in a folder where anyone may write.
// Its lock admits one run at a time.
#pragma once

#include "flatlink/fault.h"
#include "lib/ulib/descriptor.h"

#include <cstdio>

namespace flatlink
{

// Opens SCRATCH_FILE for writing: empty, locked and with mode 0600, either new or left by an
// earlier run of this user. At most one stream may be open at a time. Returns null with errno when
// that is not safe: ELOOP for a symbolic link, EPERM for a file that belongs to another user, is
// not a regular file or has a second hard link, EWOULDBLOCK while another run writes it.
std::FILE *open_scratch_file();

// errno of the first failed write since the stream was opened; 0 for none. Stays valid after the
// stream is closed.
int scratch_file_error();

// Bytes written by the stream that is open or was open last, without what is in its buffer.
std::size_t scratch_file_size();

// Cuts off the NUL bytes, up to 4 MiB, that follow the written data until the stream is closed or
// the process exits. Only needed where neither happens; safe in a signal handler.
void cut_scratch_file();

// Duplicates the open stream's descriptor, which keeps the lock when the stream is closed. Returns
// none, with errno, when the process has no descriptor left.
descriptor hold_scratch_file();

// Flushes the file of such a descriptor to the disk. Fails if the file has been unlinked.
fault flush_scratch_file(const descriptor &held);

// Reports on the standard error stream why the scratch file could not be opened or written: the
// text of `error`, or what stands in the way and what to do.
void report_scratch_file(int error);

} // namespace flatlink
