// The named policies that the proxy's `hosts` entries refer to: for each `-policy NAME` the table's
// entries for `policy-NAME`, read once and handed out as copies.
#pragma once

#include "lib/fwall/table/cfgrec.h"

#include <string_view>

inline constexpr int POLICIES_MAX = 2048;
inline constexpr int POLICY_SLOTS = POLICIES_MAX + 1; // with the terminating null

namespace flatlink
{

// Stores "policy-NAME", the policy's name in the file, in `policy_name`. Only the first 50
// characters of `name` count.
void name_policy(std::string_view name);

} // namespace flatlink

// Collects the policy names of the `hosts` entries of `proxy_confp`, each once, in their order.
// -policy must be the first option of its line. Moves the cursor of cfg_get.
//   names  POLICY_SLOTS slots; receives heap texts, which the caller frees, and a terminating null,
//          after a failure too
// Returns their number, or -1 for too many or without memory. Faulty entries are reported and
// skipped (event 11502, with the line):
//   "cfgerr: hosts takes at least one argument, line N"
//   "cfgerr: permit-hosts line must have -policy flag, line N"
//   "cfgerr: -policy needs an argument, line N"
//   "cfgerr: Too many policies!"            ends the walk
//   "vhltsyserr: malloc: ..."               event 13507, ends the walk
int cfg_findPolicyNames(char **names);

// Rebuilds the table from `proxy_confp` and the file. Returns the number of policies, or -1 after a
// report: also "cfgerr: could not find Policy : NAME." (event 11503) for a policy without entries.
// The table then holds those that were read before that one.
int cfg_bldCFGlist();

// A copy of the policy's entries, for the caller to cfg_free; null if the table lacks the policy;
// the failure marker without memory. Compares whole names, although policies whose names share
// their first 50 characters have the same entries in the file.
cfgrec *cfg_find(const char *name);

// Empties the table.
void free_cfglist();
