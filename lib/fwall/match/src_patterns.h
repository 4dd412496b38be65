// The patterns of a list's `hosts` entries, compiled when the list is loaded and stored side by
// side, so that a walk over thousands of them costs one comparison of numbers each and touches no
// entry that does not fit.
#pragma once

#include "lib/fwall/match/host_pattern.h"

#include <cstdint>
#include <string_view>

struct cfgrec;
struct src_patterns;

namespace flatlink
{

enum class src_kind : std::uint8_t {
    HOST,        // compared with the client's address or name
    IDENTITY,    // begins with `~`: compared with what the firewall calls the client
    NO_ARGUMENT, // an entry without arguments: the walk reports it when it gets there
};

struct src_pattern {
    host_pattern host = {}; // of src_kind::HOST
    cfgrec *entry = nullptr;
    std::int32_t argument = 0; // index into the entry's arguments
    src_kind kind = src_kind::NO_ARGUMENT;
};

// What a walk knows of its client, also as keys: numbers, one of which must lie in a range for a
// pattern to fit. A pattern that the keys do not rule out is a candidate.
struct src_client {
    static constexpr int IDENTITY_KEY = 0; // 0: the firewall knows none; 1: it does, or may
    static constexpr int ADDRESS_KEY = 1;  // in the host's order; unknown unless is_dotted
    static constexpr int NAME_KEYS = 1;    // plus N: key of the name's last N characters

    explicit src_client(const host_address &address);
    src_client(const src_client &) = delete; // most of its keys have no value yet
    src_client &operator=(const src_client &) = delete;

    // Call when the name has been looked up.
    //   text  in lower case, NUL-terminated, at most HOST_TEXT_MAX characters; borrowed
    void know_name(std::string_view text);

    bool lookup_allowed = true; // names may fit
    std::string_view name;      // empty: not known yet
    int known_keys;             // number of `keys` that are set, from the first on
    u32 keys[NAME_KEYS + HOST_TEXT_MAX + 1];
};

// Compiles the argument of a `hosts` entry; `room` is that of compile_host_pattern.
src_pattern compile_src_pattern(const char *argument, char *room);

// Number of patterns among the arguments of a `hosts` entry: those before its first option.
int pattern_count(const cfgrec &entry);

// Compiles the patterns of all `hosts` records of a list (null or the failure marker: none) and
// keeps them with the first of these records. After that their arguments must not change, and no
// `hosts` record may be inserted between them or removed; the list may grow at both ends. Without
// memory nothing is kept: walks are slower and give the same answers.
void compile_host_patterns(cfgrec *list);

// The next pattern, from index `at` on and in the order of the list, that may fit the client; null
// when there is none. Leaves `at` after the pattern.
//   prepared  not null
const src_pattern *next_candidate(src_patterns *prepared, const src_client &client, int &at);

// The last record that `prepared` covers: a walk goes on after it.
cfgrec *last_prepared(const src_patterns *prepared);

} // namespace flatlink
