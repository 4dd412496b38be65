// The patterns of a `hosts` entry, made ready when the table is loaded, so that a walk over
// thousands of them has one comparison of numbers or of a few characters for each. They give the
// answers of hostmatch; what it does not decide in this way, and what it reports, is left to it.
#pragma once

#include "lib/ulib/address.h"

#include <string_view>

struct cfgrec;
struct src_patterns;

// What a pattern may answer.
enum class src_answer {
    no,
    yes,
    ask_name, // compare it with the client's name
    ask,      // it has to be read anew, by its kind
};

// Works out the patterns of all `hosts` records of a list and keeps them with the records, whose
// arguments must not change from then on. Without memory a record stays as it is.
void prepare_src_patterns(cfgrec *list);

// The first pattern from `i` on that does not answer `no`; the patterns are all in front of the
// first option. Leaves `i` at it and returns its answer; `no` when there is none.
//   prepared  not null, here and below
//   address   of the client, in the host's order
src_answer src_next_answer(const src_patterns *prepared, u32 address, int &i);

// Whether pattern `i`, which answered ask_name, fits a name.
//   name  in lower case, at most 511 characters, with a terminator behind them
bool src_pattern_name(const src_patterns *prepared, int i, std::string_view name);
