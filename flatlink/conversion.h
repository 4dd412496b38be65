// A whole run of the tool: reads a database and replaces it by its flat VPN data, or leaves it
// unchanged.
#pragma once

namespace flatlink
{

// Converts the database at `path`; the trace and a first copy of the lines go to SCRATCH_FILE.
// Returns 0 when both files are written, else 1, with a message on the standard error stream that
// names the file and the cause. The database is then unchanged, unless the message says otherwise.
int convert_database(const char *path);

} // namespace flatlink
