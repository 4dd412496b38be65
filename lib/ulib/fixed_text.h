// Text fields of fixed size. A longer text is cut; a shorter one is padded with zeros, so that no
// byte of an older value survives.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace flatlink
{

// Copies at most `size` bytes of `text`, which may overlap the field, and zeros the rest.
inline void set_bytes(char *field, std::size_t size, std::string_view text)
{
    const std::size_t length = std::min(text.size(), size);
    if (length > 0)
        std::memmove(field, text.data(), length);
    std::memset(field + length, 0, size - length);
}

// For a field that a text may fill without a NUL terminator.
template <std::size_t size> void set_bytes(char (&field)[size], std::string_view text)
{
    set_bytes(field, size, text);
}

// For a field that is always NUL-terminated.
template <std::size_t size> void set_text(char (&field)[size], std::string_view text)
{
    set_bytes(field, size, text.substr(0, size - 1));
}

// The text of a field that may lack a NUL terminator.
template <std::size_t size> std::string_view field_text(const char (&field)[size])
{
    return {field, strnlen(field, size)};
}

} // namespace flatlink
