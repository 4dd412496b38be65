// Why an operation on a file failed, in words that a message puts after the file's name.
#pragma once

#include <cstring>

// No error if neither field is set. Allocates nothing, so that it can report exhausted memory.
struct [[nodiscard]] fault {
    int error = 0;              // errno of the call that failed
    const char *text = nullptr; // static; replaces the system's text for `error`

    explicit operator bool() const { return error != 0 || text != nullptr; }
    const char *words() const { return text != nullptr ? text : std::strerror(error); }
};
