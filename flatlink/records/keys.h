// Manual keys: the lines key_NN_KEY=value.
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/records.h"

#include <cstdio>
#include <string_view>

namespace flatlink
{

// The fields of a key, in the order of their lines.
extern const field_table<swkey> key_fields;

} // namespace flatlink

// Takes one line without "key_". Reports a bad number and an unknown key; a line without a value
// is ignored in silence.
void add_partial_swkey(std::string_view rest);

namespace flatlink
{

// Invalidates the number index; call after removing records.
void invalidate_swkey_index();

// Writes the records, numbered from 1 with four digits.
void save_swkeys(std::FILE *stream, const record_list<swkey> &list);

} // namespace flatlink
