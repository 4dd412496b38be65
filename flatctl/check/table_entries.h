// What single entries of a table say, whichever proxy reads them: their prefixes, patterns and
// arguments. The keywords that every proxy has are rows of a table.
#pragma once

#include "lib/fwall/match/src_patterns.h"

#include <functional>
#include <string>
#include <string_view>

struct cfgrec;

// A keyword that the proxies' common code asks for.
struct table_keyword {
    std::string_view name;
    bool takes_prefix = false; // permit- and deny-
    bool of_start = false;     // read when a proxy starts, so not in a policy
    bool first_counts = false; // and no later entry
    int args_max = 0;          // further ones are not read; 0: all are, or their number is checked
};

// A fault of an entry.
//   argument  its index; -1: the keyword
//   detail    what is wrong about it; may be empty
using entry_fault_taker = std::function<void(std::string_view code, const cfgrec &entry,
                                             int argument, std::string detail)>;

// An entry of a keyword of which only the first counts.
using later_entry_taker = std::function<void(const cfgrec &first, const cfgrec &later)>;

namespace flatlink
{

// Null for a keyword that a proxy alone may ask for.
const table_keyword *find_table_keyword(std::string_view keyword);

void check_entries(const cfgrec *list, bool is_of_policy, const entry_fault_taker &take_fault,
                   const later_entry_taker &take_later);

// The arguments of one entry, among them those that an option of a `hosts` line stands for.
void check_arguments(const cfgrec &entry, const entry_fault_taker &take_fault);

} // namespace flatlink
