// A pattern of hosts, compiled once and compared with any number of clients. This is the only
// parser of the grammar in hnam.h: hostmatch compiles for each call, a loaded table keeps its
// patterns compiled (src_patterns.h).
#pragma once

#include "lib/fwall/match/nama.h"
#include "lib/ulib/address.h"

#include <cstddef>
#include <cstdint>
#include <netdb.h>
#include <string_view>

// The last answer that a comparison got from the name service, null for none. It is the name
// service's, and is overwritten by any later question to it.
extern hostent *proxy_hostent;

namespace flatlink
{

inline constexpr std::size_t HOST_TEXT_MAX = 511; // characters of a pattern, and of a host

// A text as patterns of addresses see it.
struct host_address {
    const char *text = ""; // borrowed
    u32 octets = 0;        // its first four numbers, the first in the high octet
    u32 given = 0;         // all bits of the octets that the text has
    u32 number = 0;        // the address in the host's order, if is_number
    bool is_number = false;
    bool is_dotted = false; // `text` is the dotted form of `number`: `octets` is equal to it
};

// Octets are decimal and kept modulo 256; other characters before a point are ignored. `is_number`
// and `number` come from scan_address (scan_address.h).
host_address read_host_address(const char *text);

// A host to compare with: a name, or an address in dotted text.
struct host_client {
    explicit host_client(const char *host);    // borrowed: a report of a long one quotes it
    host_client(const host_client &) = delete; // `address` points inside
    host_client &operator=(const host_client &) = delete;

    const char *given;
    bool is_too_long = false;
    bool is_address = true; // nothing but digits and points
    host_address address;   // empty for a name
    std::uint16_t length = 0;
    char text[HOST_TEXT_MAX + 1]; // in lower case

    std::string_view name() const { return {text, length}; }
};

enum class host_kind : std::uint8_t {
    EVERY,    // `*`
    RANGE,    // numbers from low to high; none if a side can't be read
    OCTETS,   // those under the mask `high` are `low`
    STARS,    // an address with stars, compared as text
    NAME,     // with or without stars
    BAD_MASK, // bits outside of the mask: fits nothing, and is reported at each comparison
    TOO_LONG, // fits nothing, and is reported at each comparison
};

struct host_pattern {
    const char *text = ""; // a name's is in lower case, see compile_host_pattern
    u32 low = 0;
    u32 high = 0;
    std::uint16_t length = 0;
    std::uint16_t head = 0; // characters before the first star; without one all
    std::uint16_t tail = 0; // characters after the last star
    host_kind kind = host_kind::TOO_LONG;
    bool wants_name : 1 = false; // compared with a name, anything else with an address
    bool has_star : 1 = false;
    bool one_star : 1 = false;
    bool is_exact : 1 = true; // false for octets of which something is kept modulo 256 or ignored

    // Whether the client fits, with the look-up and the reports of hostmatch.
    bool fits(const host_client &client) const;

    // The same for a known address, and a pattern without `wants_name`.
    bool fits_address(const host_address &address) const;

    // Whether the pattern matches the whole of `other`. Case counts.
    //   other  followed by a NUL terminator
    bool fits_text(std::string_view other) const
    {
        const std::string_view all(text, length);
        if (!has_star)
            return other == all;
        // The fixed ends settle most comparisons.
        if (other.size() < std::size_t{head} + tail ||
            !other.ends_with(all.substr(all.size() - tail)) ||
            !other.starts_with(all.substr(0, head)))
            return false;
        return one_star || namatch(text, other.data()) != 0;
    }

    // True when the number alone rules out a dotted address. False decides nothing.
    bool excludes(u32 number) const
    {
        switch (kind) {
        case host_kind::RANGE:
            return number < low || number > high;
        case host_kind::OCTETS:
            return (number & high) != low;
        default:
            return false;
        }
    }
};

// Whether a pattern is compared with names: it has a character other than digits, `.`, `*`, `:`
// and `-`.
bool is_name_pattern(std::string_view text);

// Compiles a pattern.
//   text  borrowed as long as the pattern is used
//   room  receives the lower-case copy of a name and its NUL terminator, at most HOST_TEXT_MAX + 1
//         bytes; stays the caller's, and is borrowed as `text` is
// Allocates and reports nothing.
host_pattern compile_host_pattern(const char *text, char *room);

// Compile any text as one of the two kinds without stars, as maskmatch and range_hostmatch
// (hnam.h) read it. `text` is borrowed.
host_pattern compile_octets(const char *text);
host_pattern compile_range(const char *text);

} // namespace flatlink
