// Two texts of flat VPN data compared by their records: a link is the same link whatever its
// number, a policy is known by its name.
#pragma once

#include <string>
#include <string_view>
#include <vector>

struct flat_field {
    std::string_view key; // after the record's prefix
    std::string_view value;
};

// What is different about one record. Views lie in the texts compared.
struct flat_change {
    char kind;                        // '+' only in the new text, '-' only in the old one, '~' both
    std::string family;               // "vlink", "ikePolicy", ...; "setting" for a line of its own
    std::string identity;             // what it is known by, as values with blanks between them
    std::vector<flat_field> was, now; // fields that differ, for '~'; all fields otherwise
};

namespace flatlink
{

// In the order of the new text, with what it lacks at the end.
std::vector<flat_change> compare_flat(std::string_view old_text, std::string_view new_text);

// The change as lines for people, secrets hidden.
std::string shown_change(const flat_change &change, bool is_revealed);

} // namespace flatlink
