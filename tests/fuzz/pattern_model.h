// The matching of texts and hosts once more, told in the plainest way: what the fuzz target
// compares the matchers of lib/fwall with. Slow, and without a thought for room.
#pragma once

#include <algorithm>
#include <bitset>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lib/ulib/address.h"

using char_set = std::bitset<256>;

// What one place of a pattern may stand for: a run of any length, or one character of the set.
struct place {
    bool is_star;
    char_set fits;
};

inline constexpr std::size_t HOST_TEXT_MAX = 511;

inline std::string lower(std::string text)
{
    for (char &c : text)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    return text;
}

inline void add(char_set &set, char c, bool no_case)
{
    const auto code = static_cast<unsigned char>(c);
    set.set(code);
    if (no_case && ((code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z')))
        set.set(code ^ 32U);
}

// Reads what stands behind a `[`; returns the place of the `]`, or nothing for a bad set.
inline std::optional<std::size_t> read_set(const std::string &text, bool no_case, char_set &set)
{
    const std::size_t first = text.starts_with('^') ? 1 : 0;
    std::size_t at = first;
    while (at < text.size() && (text[at] != ']' || at == first)) {
        if (at + 1 >= text.size() || text[at + 1] != '-') {
            add(set, text[at++], no_case);
            continue;
        }
        if (at + 2 >= text.size())
            return {};
        if (text[at + 2] == ']') {
            at += 2;
            break;
        }
        const auto low = static_cast<unsigned char>(text[at]);
        const auto high = static_cast<unsigned char>(text[at + 2]);
        if (high < low)
            return {};
        for (unsigned code = low; code <= high; ++code)
            add(set, static_cast<char>(code), no_case);
        at += 3;
    }
    if (at >= text.size())
        return {};
    if (first == 1)
        set.flip();
    return at;
}

inline std::vector<place> places_of(const std::string &pattern, bool sets_no_case)
{
    std::vector<place> places;
    for (std::size_t at = 0; at < pattern.size(); ++at) {
        place next{pattern[at] == '*', {}};
        if (sets_no_case && pattern[at] == '[') {
            const auto end = read_set(pattern.substr(at + 1), true, next.fits);
            if (!end)
                next.fits.set();
            at += end ? *end + 1 : 1;
        } else {
            add(next.fits, pattern[at], sets_no_case);
        }
        places.push_back(next);
    }
    return places;
}

inline bool fits_by_table(const std::vector<place> &places, const std::string &text)
{
    std::vector<char> reached(text.size() + 1); // the places so far fit so much of the text
    reached[0] = 1;
    for (const place &next : places) {
        std::vector<char> then(text.size() + 1);
        for (std::size_t i = 0; i <= text.size(); ++i) {
            if (next.is_star)
                then[i] = reached[i] || (i > 0 && then[i - 1]);
            else if (i > 0)
                then[i] = reached[i - 1] && next.fits[static_cast<unsigned char>(text[i - 1])];
        }
        reached = then;
    }
    return reached.back() != 0;
}

inline std::optional<u32> address_by_parts(std::string text)
{
    text.resize(std::min(text.size(), text.find_first_of(" \t\n\v\f\r")));
    std::uint64_t sum = 0;
    const char *at = text.c_str();
    for (int bits = 32; bits > 0; bits -= 8) {
        char *end = nullptr;
        const std::uint64_t part = std::strtoull(at, &end, 0);
        if (std::isdigit(static_cast<unsigned char>(*at)) == 0)
            return {};
        if (*end == '\0')
            return part >> bits == 0 ? std::optional<u32>(sum | part) : std::nullopt;
        if (*end != '.' || part > 255)
            return {};
        sum |= part << (bits - 8);
        at = end + 1;
    }
    return {};
}

// The numbers between the points, modulo 256; a point at the very end has none behind it.
inline std::vector<unsigned> numbers_of(std::string_view text)
{
    std::vector<unsigned> numbers;
    while (!text.empty()) {
        unsigned number = 0;
        const std::string_view word = text.substr(0, text.find('.'));
        for (std::size_t i = 0; i < word.size() && word[i] >= '0' && word[i] <= '9'; ++i)
            number = (number * 10 + static_cast<unsigned>(word[i] - '0')) & 255;
        numbers.push_back(number);
        text.remove_prefix(std::min(text.size(), word.size() + 1));
    }
    return numbers;
}

inline bool fits_mask(const std::string &pattern, const std::string &address)
{
    const std::size_t colon = pattern.find(':');
    std::vector<unsigned> value = numbers_of(pattern.substr(0, colon));
    std::vector<unsigned> mask(value.size(), 255);
    if (colon != std::string::npos && value.size() <= 4) {
        const auto given = numbers_of(pattern.substr(colon + 1));
        mask.resize(std::max(mask.size(), given.size()));
        std::copy(given.begin(), given.end(), mask.begin());
    }
    value.resize(4);
    mask.resize(4);
    auto octets = numbers_of(address);
    octets.resize(std::min<std::size_t>(octets.size(), 4));
    bool fits = true;
    for (std::size_t i = 0; i < 4; ++i) {
        fits = fits && (value[i] & ~mask[i]) == 0;
        fits = fits && (i >= octets.size() || (octets[i] & mask[i]) == value[i]);
    }
    return fits;
}

inline bool fits_range(const std::string &pattern, const std::string &address)
{
    const std::size_t dash = pattern.find('-');
    if (dash > 16 || pattern.size() - dash - 1 > 16)
        return false;
    const auto low = address_by_parts(pattern.substr(0, dash));
    const auto high = address_by_parts(pattern.substr(dash + 1));
    const auto number = address_by_parts(address);
    return low && high && number && *low <= *number && *number <= *high;
}

inline bool fits_ip(const std::string &pattern, const std::string &address)
{
    if (pattern.find('-') != std::string::npos)
        return fits_range(pattern, address);
    return pattern.find('*') != std::string::npos
               ? fits_by_table(places_of(pattern, false), address)
               : fits_mask(pattern, address);
}

// `answer` is the address that the name service has for the host.
inline bool fits_host(std::string pattern, std::string host,
                      const std::optional<std::string> &answer)
{
    if (pattern == "*")
        return true;
    if (pattern.size() > HOST_TEXT_MAX || host.size() > HOST_TEXT_MAX)
        return false;
    pattern = lower(pattern);
    host = lower(host);
    if (pattern.find_first_not_of(".*0123456789:-") != std::string::npos)
        return fits_by_table(places_of(pattern, false), host);
    if (host.find_first_not_of(".0123456789") == std::string::npos)
        return fits_ip(pattern, host);
    return answer && fits_ip(pattern, *answer);
}

inline int last_fitting_word(const std::string &list, const std::string &text)
{
    int number = 0, last = 0;
    std::size_t at = list.find_first_not_of(" \t");
    for (bool more = !list.empty(); more;) {
        at = std::min(at, list.size());
        const std::size_t end = std::min(list.find_first_of(" \t", at), list.size());
        ++number;
        if (fits_by_table(places_of(list.substr(at, end - at), false), text))
            last = number;
        more = end < list.size();
        at = list.find_first_not_of(" \t", end);
    }
    return last;
}
