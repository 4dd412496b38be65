// A lower bound for reading a settings file: the tree lives in memory blocks that are never freed,
// nothing is checked, and special cases of the notations are ignored. The import is compared to it.
#pragma once

#include <cstddef>

// Reads the whole file into a tree and returns the number of its nodes, 0 if it cannot be read.
std::size_t bound_flat(const char *path);
std::size_t bound_sections(const char *path);
std::size_t bound_tags(const char *path);
