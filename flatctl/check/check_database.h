// The check of one input: runs inside of a child, and sends what it finds.
#pragma once

#include "flatctl/input/input.h"

struct check_task;

namespace flatlink
{

// Unless the task names the kind, a netperm-table is told by its first line, and checked as one
// (check_table.h), and any other input is taken for a database: reads, brings to the current layout
// and derives, as a conversion does, and sends findings and facts (check_message.h). Returns an
// exit_status, which tells whether the work came to its end, not what it found.
//   first_step  0, or the step from which the check of a table goes on
int check_in_child(const input &database, const check_task &task, const known_world &world,
                   int first_step, child_port &port);

} // namespace flatlink
