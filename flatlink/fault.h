// Why something could not be done, in words that a user reads behind the name of a file.
#pragma once

#include <cstring>

// Neither field set: nothing is wrong. It needs no memory, so that it can tell of a lack of it.
struct [[nodiscard]] fault {
    int error = 0;              // errno of the call that failed
    const char *text = nullptr; // static; takes the place of the words for `error`

    explicit operator bool() const { return error != 0 || text != nullptr; }
    const char *words() const { return text != nullptr ? text : std::strerror(error); }
};
