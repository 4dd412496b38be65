// What reading a settings file costs at the least: a tree in blocks of memory that are never
// freed, no check of anything, no corner of any notation. The import is measured beside it.
#pragma once

#include <cstddef>

// Reads the whole file into a tree and returns the number of its nodes, 0 if it cannot be read.
std::size_t bound_flat(const char *path);
std::size_t bound_sections(const char *path);
std::size_t bound_tags(const char *path);
