// Makes every early end of a run an honest one: the exit status is 1, and the standard error stream
// says that the database was not changed.
#pragma once

namespace flatlink
{

// Call first.
//   path  the database's, for messages; must outlive the run
// Effects:
//   - Output to a standard stream that the caller closed is discarded, instead of going to a file
//     that is opened later and gets the same descriptor.
//   - A file above the process's size limit, or an error stream without a reader, fails the write
//     instead of killing the process.
//   - A run that is ended by a signal truncates its scratch file to the bytes written.
//   - Exhausted memory that no function reports is reported here.
void guard_run(const char *path);

// Whether an allocation has failed since guard_run, even if the run went on without it.
bool ran_out_of_memory();

// Reports exhausted memory, and that the database was not changed.
void report_out_of_memory();

// Ends the guard when both files are written or a fault has been reported. Returns `status`.
int end_run(int status);

} // namespace flatlink
