// The firewall's interfaces: the lines netobj_list_N_element_M_KEY=value.
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/records.h"

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace flatlink
{

// The fields of an interface, in the order of their lines.
extern const field_table<vpn_intf> interface_fields;

} // namespace flatlink

// Finds or makes the record of that list and element, and stores one field. An unknown key makes
// the record all the same. An empty value is stored like any other: as no address, or as a name.
void add_partial_intf(std::int32_t listno, std::int32_t elemno, std::string_view key,
                      std::string_view value);

// Drops records without interface, address or mask, merges those with one address, and orders
// them: inside, service, outside, heartbeat, unknown.
void finish_intfs();

// Writes the records under the numbers that they came with.
void save_intfs(std::FILE *stream, const record_list<vpn_intf> &list);

// True for the address of an interface, and for 127.0.0.1.
bool isfwaddr(u32 addr_be);

// The address of the first record whose interface is exactly `name`; 0 if there is none.
u32 ifname2addr(std::string_view name);
