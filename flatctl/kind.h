// What an input is: told by the keys that it holds once it is read as a database.
#pragma once

#include <string_view>

struct frag;

enum class input_kind {
    database,
    flat_data, // the VPN data that a conversion leaves
    unknown,   // no key of a firewall configuration
};

namespace flatlink
{

input_kind kind_of_tree(const frag *first);

// Whether a text is a netperm-table: its first line that is no comment is NAME: and a keyword.
bool looks_like_table(std::string_view text);

} // namespace flatlink
