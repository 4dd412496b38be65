#include "lib/ulib/text.h"

#include <algorithm>
#include <charconv>
#include <limits>

using namespace flatlink;

std::string flatlink::lower_case(std::string_view text)
{
    std::string lower(text);
    for (char &c : lower)
        c = lower_case(c);
    return lower;
}

bool flatlink::same_word(std::string_view a, std::string_view b)
{
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return lower_case(x) == lower_case(y);
           });
}

bool flatlink::begins_with_word(std::string_view text, std::string_view prefix)
{
    return same_word(text.substr(0, prefix.size()), prefix);
}

bool flatlink::take_prefix(std::string_view &text, std::string_view prefix)
{
    if (!text.starts_with(prefix))
        return false;
    text.remove_prefix(prefix.size());
    return true;
}

static bool is_c_space(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

long flatlink::take_number(std::string_view &text)
{
    std::size_t pos = 0;
    while (pos < text.size() && is_c_space(text[pos]))
        ++pos;
    bool negative = false;
    if (pos < text.size() && (text[pos] == '-' || text[pos] == '+'))
        negative = text[pos++] == '-';
    // Unsigned, because the lowest number has no positive counterpart.
    const unsigned long limit = std::numeric_limits<long>::max() + (negative ? 1UL : 0UL);
    const std::size_t first_digit = pos;
    unsigned long value = 0;
    for (; pos < text.size() && is_digit(text[pos]); ++pos) {
        const auto digit = static_cast<unsigned long>(text[pos] - '0');
        // A division for each digit would cost more than all the rest.
        constexpr unsigned long FAR_FROM_LIMIT = std::numeric_limits<long>::max() / 16;
        if (value < FAR_FROM_LIMIT)
            value = value * 10 + digit;
        else
            value = value > (limit - digit) / 10 ? limit : value * 10 + digit;
    }
    if (pos == first_digit)
        return 0;
    text.remove_prefix(pos);
    return static_cast<long>(negative ? 0 - value : value);
}

std::int32_t flatlink::lenient_number(std::string_view text)
{
    const long value = take_number(text);
    return static_cast<std::int32_t>(std::clamp(value,
                                                long{std::numeric_limits<std::int32_t>::min()},
                                                long{std::numeric_limits<std::int32_t>::max()}));
}

bool flatlink::scan_number(std::string_view text, std::int32_t &number)
{
    const std::size_t before = text.size();
    const long value = take_number(text);
    if (text.size() == before)
        return false;
    number = static_cast<std::int32_t>(value);
    return true;
}

bool flatlink::scan_hex(std::string_view text, std::uint32_t &number)
{
    while (!text.empty() && is_c_space(text.front()))
        text.remove_prefix(1);
    const bool negative = text.starts_with('-');
    if (negative || text.starts_with('+'))
        text.remove_prefix(1);
    if (begins_with_word(text, "0x"))
        text.remove_prefix(2);
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (end == text.data())
        return false;
    number = static_cast<std::uint32_t>(negative ? 0 - value : value);
    if (error == std::errc::result_out_of_range)
        number = std::numeric_limits<std::uint32_t>::max();
    return true;
}
