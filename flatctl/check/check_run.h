// The check of one input: its children, and what they find.
#pragma once

#include "flatctl/access/proxy_options.h"
#include "flatctl/check/findings.h"
#include "flatctl/input/input.h"
#include "flatctl/input/kind.h"

#include <map>
#include <string>
#include <vector>

// What is to be checked.
struct check_task {
    std::string kind = "auto"; // or database, table, flat
    std::string proxy = {};    // of a table, the only one to be checked; empty for all
    std::map<std::string, proxy_options> options = {}; // of a table, by proxy
    bool wants_digest = false;                         // among the facts
};

struct checked_input {
    input file;
    input_facts facts;
    std::vector<finding> findings; // by line, those about the whole input where they came up
};

namespace flatlink
{

// Fills in facts and findings. Returns an exit_status, which tells whether the work came to its
// end, not what it found.
int check_input(const check_task &task, const known_world &world, checked_input &checked);

} // namespace flatlink
