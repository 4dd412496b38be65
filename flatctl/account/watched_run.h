// A conversion in a child, watched from its import to its last line.
#pragma once

#include "flatctl/account/conversion_log.h"

#include <functional>
#include <string_view>

struct input;
struct known_world;
class child_port;

namespace flatlink
{

// Takes a line of the output without its newline; the text is borrowed for the call.
using line_taker = std::function<void(std::string_view line)>;

// Loads and derives as flatlink would, and hands the lines of the records to `take`, one by one.
// Returns STATUS_FINE; STATUS_UNREADABLE after a message; STATUS_FOUND, and no line, when a bound
// is struck; or STATUS_FAULT, after a message, when what was noted about the lines is not what they
// hold.
int run_watched(const input &database, const known_world &world, const child_port &port,
                conversion_log &log, const line_taker &take);

} // namespace flatlink
