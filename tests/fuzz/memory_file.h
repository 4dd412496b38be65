// A stream of memory, and what was written to it once it is closed.
#pragma once

#include <cstdio>
#include <cstdlib>

struct memory_file {
    memory_file() : stream(open_memstream(&bytes, &size)) {}
    ~memory_file() { std::free(bytes); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    char *bytes = nullptr;
    std::size_t size = 0;
    std::FILE *stream; // closed by its user
};
