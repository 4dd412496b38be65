// Manual keys: the lines key_NN_KEY=value.
#pragma once

#include <cstdio>
#include <string_view>

#include "flatlink/records/records.h"

// Takes one line without "key_". Reports a bad number and an unknown key; a line without a value
// is passed over in silence.
void add_partial_swkey(std::string_view rest);

// What a record's number leads to no longer holds; for those who remove records.
void forget_swkey_numbers();

// Writes the records, numbered from 1 with four digits.
void save_swkeys(std::FILE *stream, const record_list<swkey> &list);
