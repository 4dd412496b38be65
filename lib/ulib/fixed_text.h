// Text fields of fixed size. What is longer is cut, and what is shorter is filled with zeros, so
// that no byte of an older value stays behind.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace flatlink
{

// Copies at most `size` bytes of `text`, which may lie in the field, and fills the rest.
inline void set_bytes(char *field, std::size_t size, std::string_view text)
{
    const std::size_t length = std::min(text.size(), size);
    if (length > 0)
        std::memmove(field, text.data(), length);
    std::memset(field + length, 0, size - length);
}

// A field that a text may fill without a terminator.
template <std::size_t SIZE> void set_bytes(char (&field)[SIZE], std::string_view text)
{
    set_bytes(field, SIZE, text);
}

// A field that is always terminated.
template <std::size_t SIZE> void set_text(char (&field)[SIZE], std::string_view text)
{
    set_bytes(field, SIZE, text.substr(0, SIZE - 1));
}

// The text of a field that may lack its terminator.
template <std::size_t SIZE> std::string_view field_text(const char (&field)[SIZE])
{
    return {field, strnlen(field, SIZE)};
}

} // namespace flatlink
