// Mode-config address pools: the lines mcpool_NAME_KEY=value.
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/records.h"

#include <cstdio>
#include <string_view>

namespace flatlink
{

// The fields of a pool, in the order of their lines; those of its entries follow.
extern const field_table<mcpool> pool_fields;

} // namespace flatlink

// Takes one line without "mcpool_" and echoes it to the trace. Returns 0 when the line was used or
// had an empty value, and 1 when not: after the report of a bad format or of an unknown key, and
// in silence for an entry with a negative number.
int add_partial_mcpool(std::string_view rest);

// Drops entries without an address and pools without a mask or a range, and numbers what stays
// in the order of appearance. Once, when all lines are in.
void finish_mcpools();

// Writes the pools under their numbers, the entries of each kind numbered from 1.
void save_mcpools(std::FILE *stream, const record_list<mcpool> &list);
