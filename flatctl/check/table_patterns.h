// What the patterns and items of a table's entries say: those that are read in another way than
// they are written, fit nothing, or come too late.
#pragma once

#include "flatctl/check/table_entries.h"

#include <string_view>

namespace flatlink
{

// How many of an entry's arguments are patterns of hosts.
int host_count(const cfgrec &entry);

// The arguments of one entry, among them those that an option of a `hosts` line stands for.
void check_arguments(const cfgrec &entry, const entry_fault_taker &take_fault);

// The items of `destination`, `ports` and `proxy` that never decide, since an earlier one does.
void check_items(const cfgrec *list, const entry_fault_taker &take_fault);

// Whether a host may have the name, or the address that the text is. Stars may stand in it.
bool is_host_name(std::string_view text);

} // namespace flatlink
