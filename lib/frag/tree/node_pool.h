// Memory for the nodes of trees. Trees hold millions of small nodes that live together: cut from
// large blocks they cost less time, less room, and fewer trips to memory than one by one.
#pragma once

#include <cstddef>

namespace flatlink
{

// Room of `size` bytes, aligned for pointers; null without memory. Give it back with the same size.
void *allocate_node(std::size_t size);

// Gives room back, for the next taker of that size; null is allowed.
void release_node(void *room, std::size_t size);

} // namespace flatlink
