// What single entries of a table say, whichever proxy reads them: their prefixes and arguments. The
// keywords that every proxy has are rows of a table.
#pragma once

#include <functional>
#include <string>
#include <string_view>

struct cfgrec;

// A keyword that the proxies' common code asks for.
struct table_keyword {
    std::string_view name;
    bool takes_prefix = false;   // permit- and deny-
    bool of_start = false;       // read before the policy of a client is known, so not in one
    bool first_counts = false;   // and no later entry
    bool needs_argument = false; // without one the entry is ignored, and nothing is reported
    int args_max = 0; // further ones are not read; 0: all are, or their number is checked
};

// A fault of an entry.
//   argument  its index; -1: the keyword
//   detail    what is wrong about it; may be empty
using entry_fault_taker = std::function<void(std::string_view code, const cfgrec &entry,
                                             int argument, std::string detail)>;

namespace flatlink
{

// Null for a keyword that a proxy alone may ask for.
const table_keyword *find_table_keyword(std::string_view keyword);

// The keyword that one has the letters of, as Child_limit and timeout: have; null for none, and for
// a keyword of the table.
const table_keyword *find_meant_keyword(std::string_view keyword);

// True without a letter, and for what is left when one of several prefixes was taken.
bool is_no_keyword(std::string_view keyword);

void check_entry(const cfgrec &entry, bool is_of_policy, const entry_fault_taker &take_fault);

// A decimal number, with or without a sign; and whether it has 32 bits.
bool is_whole_number(std::string_view text);
bool is_in_range(std::string_view text);

} // namespace flatlink
