// What the explanations of a database share: an operand that names what is asked for, and the
// database, which is converted in a child.
#pragma once

#include "flatctl/input/input.h"
#include "flatctl/input/world.h"

#include <string>

class conversion_log;
struct request;

struct explain_input {
    const request &asked;
    std::string wanted; // the first operand
    input database;
    known_world world;
};

namespace flatlink
{

// Opens what the command line names, runs `work` in a child, prints its frames of kind DATA and
// returns its status.
int explain_database(const request &asked, int (*work)(const explain_input &, child_port &));

// In that child: converts the database, watched by `log`, and appends the lines of the records to
// `output`. Returns what run_watched does.
int convert_explained(const explain_input &run, const child_port &port, conversion_log &log,
                      std::string &output);

} // namespace flatlink
