// Memory for the nodes of trees. Trees hold millions of small nodes with similar lifetimes: cut
// from large blocks they cost less time, less memory and fewer cache misses.
#pragma once

#include <cstddef>

namespace flatlink
{

// Memory of `size` bytes, aligned for pointers; null without memory. Release with the same size.
void *allocate_node(std::size_t size);

// Returns memory to the pool for the next node of that size; null is allowed.
void release_node(void *room, std::size_t size);

} // namespace flatlink
