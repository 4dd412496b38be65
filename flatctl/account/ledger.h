// preview --ledger: what became of each line of the input, and where each line of the output comes
// from.
#pragma once

#include "flatctl/input/run_child.h"

struct input;
struct known_world;
struct request;

namespace flatlink
{

// Converts and accounts inside of a child; the text, or with --format json the object, goes out in
// frames of kind `data`. Returns the status of the work, STATUS_FAULT when the sums disagree.
int ledger_in_child(const input &database, const known_world &world, const request &asked,
                    child_port &port);

} // namespace flatlink
