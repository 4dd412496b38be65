// preview --ledger: what became of each line of the input, and where each line of the output comes
// from.
#pragma once

#include "flatctl/input/run_child.h"

struct input;
struct field_note;
struct known_world;
struct request;
class conversion_log;
class json_writer;

namespace flatlink
{

// Converts and accounts inside of a child; the text, or with --format json the object, goes out in
// frames of kind `data`. Returns the status of the work, STATUS_FAULT when the sums disagree.
int ledger_in_child(const input &database, const known_world &world, const request &asked,
                    child_port &port);

// The fields "from", the lines that a field of a record has its value from, and "how" it has it.
// `stored` is null for a field that no line sets.
void write_origins(json_writer &json, const conversion_log &log, const field_note *stored);

} // namespace flatlink
