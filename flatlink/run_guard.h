// Keeps the ends of a run true: whatever ends it early, its status is 1 and the standard error
// stream says that the database was not changed.
#pragma once

namespace flatlink
{

// To be called first, with the path that messages name, which outlives the run.
//   - What is written to a standard stream that the caller closed goes nowhere, not into a file
//     that was opened later.
//   - A file that grows beyond the limit of the process, or an error stream without a reader, is
//     an error of that write, not the end of the process.
//   - A run that a signal ends leaves its scratch file at its length.
//   - A lack of memory that no function reports is reported here.
void guard_run(const char *path);

// Whether an allocation has failed since then, even where the run went on without it.
bool ran_out_of_memory();

// Tells that there was no memory, and that the database was not changed.
void report_out_of_memory();

// Lifts the guard once both files are as they shall be, or a fault was reported. Returns `status`.
int end_run(int status);

} // namespace flatlink
