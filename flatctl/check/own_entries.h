// What the entries of a proxy's own keywords say, by what its file of options tells of them.
#pragma once

#include "flatctl/access/proxy_options.h"
#include "flatctl/check/table_entries.h"

namespace flatlink
{

// Leaves the names of services aside.
void check_own_entry(const cfgrec &entry, const own_keyword &keyword,
                     const entry_fault_taker &take_fault);

// Whether the proxy looks an argument up as the name of a service.
bool is_service_name(const cfgrec &entry, const own_keyword &keyword, int argument);

} // namespace flatlink
