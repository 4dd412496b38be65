// What an input is: told by the keys that it holds once it is read as a database.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct frag;

// Facts about an input, for the head of a report.
struct input_facts {
    std::string kind;     // database, table or flat; empty before it is known
    std::string notation; // flat, sections, tags or mixed; of a database
    std::string layout;   // current, 4.1 or numbered; of a database
    std::int64_t lines = 0;
    std::int64_t keys = 0;          // with a value; of a database and of flat data
    std::string sha256;             // of all bytes, in hexadecimal digits; empty: not asked for
    std::vector<std::string> names; // of a table, in the order of their first lines
};

enum class input_kind {
    DATABASE,
    FLAT_DATA, // the VPN data that a conversion leaves
    UNKNOWN,   // no key of a firewall configuration
};

namespace flatlink
{

input_kind kind_of_tree(const frag *first);

// Notation and keys of a tree as it was imported, and its layout before it becomes the current one.
void take_tree_facts(const frag *first, input_facts &facts);

std::int64_t count_lines(std::string_view text);

// Whether a text is a netperm-table: its first line that is no comment is NAME: and a keyword.
bool looks_like_table(std::string_view text);

} // namespace flatlink
