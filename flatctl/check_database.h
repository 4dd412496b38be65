// The check of one input: runs inside of a child, and sends what it finds.
#pragma once

#include "flatctl/findings.h"
#include "flatctl/input.h"

namespace flatlink
{

// A netperm-table is told by its first line, and checked as one (check_table.h). Any other input
// is taken for a database: reads, brings to the current layout and derives, as a conversion does,
// and sends findings as frames of kind `record`. Returns an exit_status, which tells whether the
// work came to its end, not what it found.
int check_in_child(const input &database, const known_world &world, child_port &port);

// A finding on its way through the pipe.
std::string packed_finding(const finding &found);

// False for what is none.
bool unpack_finding(std::string_view bytes, finding &found);

} // namespace flatlink
