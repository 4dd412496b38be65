// Lines whose values no record holds: where in the tree they stand, and what was met there, tells
// what they are for.
#pragma once

#include "flatctl/account/line_classes.h"

#include <cstdint>
#include <vector>

// What the node of a line tells about it.
struct node_class {
    line_class kind = line_class::NEVER_ASKED;
    std::uint16_t depth = 0; // of the node; of several that a line made, the deepest tells
};

namespace flatlink
{

// By line, after the records were written; `tree` is what the derivation left.
std::vector<node_class> classes_of_nodes(const conversion_log &log, const frag *tree);

// The first line of a value at or below the node; 0 for none.
std::int32_t first_line_below(const frag *top);

} // namespace flatlink
