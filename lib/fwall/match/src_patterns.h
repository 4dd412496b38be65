// The patterns of a list's `hosts` entries, compiled when the list is loaded. They stand side by
// side, whatever stands between their entries, so that a walk over thousands of them has one
// comparison of numbers or of a few characters for each, and touches no entry that does not fit.
#pragma once

#include "lib/fwall/match/host_pattern.h"

#include <cstdint>
#include <string_view>

struct cfgrec;
struct src_patterns;

enum class src_kind : std::uint8_t {
    host,        // compared with the client's address or name
    identity,    // begins with `~`: compared with what the firewall calls the client
    no_argument, // stands for an entry without arguments, whose fault is to be reported
};

struct src_pattern {
    host_pattern host = {}; // of src_kind::host
    cfgrec *entry = nullptr;
    std::int32_t argument = 0; // which one of the entry's
    src_kind kind = src_kind::no_argument;
};

// What a walk knows of its client, also as keys: numbers of which a pattern wants one to be in a
// range. A pattern that this does not settle is a candidate.
struct src_client {
    static constexpr int IDENTITY_KEY = 0; // 0: the firewall knows none; 1: it does, or may do
    static constexpr int ADDRESS_KEY = 1;  // in the host's order; not known unless is_dotted
    static constexpr int NAME_KEYS = 1;    // and then one for its last 1, 2, 3... characters each

    explicit src_client(const host_address &address);
    src_client(const src_client &) = delete; // most of its keys have no value yet
    src_client &operator=(const src_client &) = delete;

    // To be called once the name is looked up: in lower case, NUL-terminated, of at most
    // HOST_TEXT_MAX characters; borrowed.
    void know_name(std::string_view text);

    bool lookup_allowed = true; // names may fit
    std::string_view name;      // empty: not known yet
    int known_keys;             // so many of `keys` are set
    u32 keys[NAME_KEYS + HOST_TEXT_MAX + 1];
};

namespace flatlink
{

// Compiles the argument of a `hosts` entry; `room` is that of compile_host_pattern.
src_pattern compile_src_pattern(const char *argument, char *room);

// Compiles the patterns of all `hosts` records of a list, the marker or null included, and keeps
// them with the first of these records. From then on their arguments must not change, and no such
// record may be put between them or taken away; the list may grow at both its ends. Without memory
// the list stays as it is, which is slower and gives the same answers.
void prepare_src_patterns(cfgrec *list);

// The first pattern from place `at` on that may fit the client, in the order of the list; null when
// there is none. Leaves `at` after it.
//   prepared  not null
const src_pattern *next_candidate(src_patterns *prepared, const src_client &client, int &at);

// The last record whose patterns these are.
cfgrec *last_prepared(const src_patterns *prepared);

} // namespace flatlink
