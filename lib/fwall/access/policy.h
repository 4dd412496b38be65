// The terms of a connection: turns what follows the patterns of a `hosts` line into records of
// `policy_confp`. That list holds, in order of precedence,
//   1. a record for each option of the line,
//   2. the entries of the proxy,
//   3. the entries of the policies named by -policy.
#pragma once

#include <cstdint>

struct cfgrec;

// How an option takes arguments from the line. Any other value takes none, and drops those of the
// expansion as well.
enum policy_kind : std::int32_t {
    POLICY_ARG_NONE = 0,
    POLICY_ARG_ONE = 1,  // the next
    POLICY_ARG_LIST = 2, // the next; or, if it begins with `{`, all up to one that begins with `}`
    POLICY_ARG_REST = 3, // all that are left
};

// One option of a proxy; a null name ends a table of them.
struct policy_option {
    const char *name = nullptr; // with its `-`
    std::int32_t kind = POLICY_ARG_NONE;
    // The record to make: "[permit-|deny-]KEYWORD ARGUMENTS...", the prefix in upper or lower case;
    // the line's arguments are added to it. Null, or without a keyword: the keyword is the option's
    // name without its first character.
    const char *expansion = nullptr;
};

// Adds the terms of a `hosts` record to `policy_confp`. The new records have its line number and
// stay for the rest of the process.
//   hosts    null: nothing is done
//   options  null: the line may have -policy only
// Returns 0; or 1 when a -policy can't be resolved, or the words of an expansion with their
// terminators take more than 1024 bytes, and then no option of the line counts:
//   "cfgerr: -policy needs an argument, line N"               event 11502
//   "cfgerr: could not find policy-NAME, line N"              event 11503
//   "cfgerr: expansion of OPTION too long, line N"            event 11502
// Other faults are reported and skipped (event 11502); an option that lacks its argument gives a
// record without arguments:
//   "cfgerr: unknown argument name WORD"                      the word cut at 10 characters
//   "cfgerr: missing argument for 'OPTION', line N"
//   "cfgerr: OPTION needs at least one argument, line N"
//   "cfgerr: missing end of list '}', line N"                 the list ends with the line
//   "cfgerr: OPTION needs atleast one argument, line N"       for POLICY_ARG_REST
// Exhausted memory is reported as "syserr: out of memory" (event 13507) and ends the process with
// status 1.
[[nodiscard]] int get_policy(const cfgrec *hosts, const policy_option *options);

// Appends a copy of the policy's entries to `policy_confp`. Returns 0, or -1 when the table of
// policies lacks it or has no entries for it.
[[nodiscard]] int get_policy_by_name(const char *name);
