// Two configuration trees compared node by node, as the proof that a file holds what it was
// written from.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct frag;

struct tree_difference {
    std::string key;
    std::string what; // for people: "bytes of its value", ...
};

struct tree_comparison {
    std::vector<tree_difference> differences; // the first of them
    std::size_t count = 0;                    // of all
    std::size_t rearranged = 0; // nodes that are new or in another place, where that is expected
};

namespace flatlink
{

// Compares names, access bits, values to the end of their text, and the order of nodes. A node that
// one side lacks is one difference with all below it; it counts only with a value in it, for a
// configuration is its values.
//   is_rearranged  new nodes and another order are expected, and only counted
//   most           longest list of differences; the rest is counted
tree_comparison compare_trees(const frag *before, const frag *after, bool is_rearranged,
                              std::size_t most);

// How many nodes of a list and all below it have a value.
std::size_t count_values(const frag *first);

} // namespace flatlink
