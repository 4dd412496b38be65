// The patterns of `hosts` entries, made ready when the table is loaded: those of entries that
// follow one another stand side by side, so that a walk over thousands of them has one comparison
// of numbers or of a few characters for each. They give the answers of hostmatch; what it does not
// decide in this way, and what it reports, is left to it.
#pragma once

#include "lib/ulib/address.h"

#include <cstdint>
#include <string_view>

struct cfgrec;
struct src_patterns;

// What a pattern may answer.
enum class src_answer : std::uint8_t {
    no,
    yes,
    ask_identity, // compare it with what the firewall calls the client
    ask_name,     // compare it with the client's name
    ask,          // it has to be read anew, by its kind
};

// A pattern that does not answer `no`.
struct src_candidate {
    src_answer answer = src_answer::no; // no: there is none
    cfgrec *entry = nullptr;            // whose pattern it is
    int argument = 0;                   // which one of the entry's; for an entry without any, 0
};

// Works out the patterns of all `hosts` records of a list, whose runs are marked (cfgrec.h), and
// keeps them with the first record of each run. The arguments must not change from then on.
// Without memory a run stays as it is.
void prepare_src_patterns(cfgrec *list);

// What a walk knows of its client.
struct src_client {
    u32 address = 0;          // in the host's order
    bool has_identity = true; // the firewall knows it by one, or was not asked yet
};

// The first candidate from place `at` on; leaves `at` behind it.
//   prepared  not null, here and below
src_candidate src_next_candidate(const src_patterns *prepared, const src_client &client, int &at);

// Whether the pattern in front of `at`, which answered ask_name, fits a name.
//   name  in lower case, at most 511 characters, with a terminator behind them
bool src_name_fits(const src_patterns *prepared, int at, std::string_view name);
