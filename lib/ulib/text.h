// Small text functions: comparison without case, views of C texts, prefixes, and the named readers
// of numbers. They report nothing and allocate only their results.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace flatlink
{

// A view of a C text; the empty view for null.
inline std::string_view text_of(const char *text)
{
    return text == nullptr ? std::string_view() : std::string_view(text);
}

// True for an ASCII digit, in any locale.
constexpr bool is_digit(char c)
{
    return c >= '0' && c <= '9';
}

// The lower-case letter of an ASCII capital, in any locale; any other character unchanged.
constexpr char lower_case(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The text with each of its characters in lower case.
std::string lower_case(std::string_view text);

// True when the texts are equal; ignores ASCII case, in any locale.
bool same_word(std::string_view a, std::string_view b);

// True when `text` begins with `prefix`; ignores ASCII case.
bool begins_with_word(std::string_view text, std::string_view prefix);

// Removes `prefix` from the front of `text` and returns true, or leaves it and returns false.
bool take_prefix(std::string_view &text, std::string_view prefix);

// Decimal number at the start of `text` as C's atoi reads it: leading white space and one sign
// are accepted, the first other character ends it, no digits give 0. A number beyond 32 bits
// is clamped to the nearest that fits.
std::int32_t lenient_number(std::string_view text);

// Decimal number at the front of `text` as C's strtol reads it, clamped to `long`; removes what it
// read from `text`. Without digits: 0, and `text` is unchanged.
long take_number(std::string_view &text);

// A number at the front of `text`, decimal, or hexadecimal with an optional 0x, after white space
// and a sign. Returns true and stores the number, truncated to 32 bits; or false and leaves
// `number` alone. A hexadecimal number with a minus is the two's complement: -1 is ffffffff. One
// beyond 64 bits is ffffffff, with either sign.
bool scan_number(std::string_view text, std::int32_t &number);
bool scan_hex(std::string_view text, std::uint32_t &number);

} // namespace flatlink
