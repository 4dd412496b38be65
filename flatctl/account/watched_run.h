// A conversion in a child, watched from its import to its last line.
#pragma once

#include "flatctl/account/conversion_log.h"

#include <string>

struct input;
struct known_world;
class child_port;

namespace flatlink
{

// Loads and derives as flatlink would, and writes the records into `output`. Returns STATUS_FINE;
// STATUS_UNREADABLE after a message; STATUS_FOUND, and no output, when a bound is struck; or
// STATUS_FAULT, after a message, when what was noted about the output is not what it holds.
int run_watched(const input &database, const known_world &world, const child_port &port,
                conversion_log &log, std::string &output);

// Whether the notes about the output agree with it, line by line.
bool agrees_with(const conversion_log &log, std::string_view output);

} // namespace flatlink
