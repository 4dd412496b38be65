// The named policies to which the `hosts` entries of the proxy refer: the entries of the name
// `policy-NAME` for each NAME behind a -policy, read once and handed out as copies.
#pragma once

#include "lib/fwall/table/cfgrec.h"

#include <string_view>

inline constexpr int POLICIES_MAX = 2048;
inline constexpr int POLICY_SLOTS = POLICIES_MAX + 1; // with the null behind the last

namespace flatlink
{

// Stores "policy-NAME" in `policy_name`, under which the file has the policy: 50 characters of the
// name.
void name_policy(std::string_view name);

} // namespace flatlink

// Collects the policy names of the `hosts` entries of `proxy_confp`, each once, in their order.
// A name must stand behind -policy as the first option of its line. The walk uses cfg_get.
//   names  POLICY_SLOTS slots; receives heap texts, which the caller frees, and null behind them,
//          after a failure too
// Returns their number, or -1 with too many or without memory. Entries with a fault are reported
// and passed over (event 11502, with the line):
//   "cfgerr: hosts takes at least one argument, line N"
//   "cfgerr: permit-hosts line must have -policy flag, line N"
//   "cfgerr: -policy needs an argument, line N"
//   "cfgerr: Too many policies!"            ends the walk
//   "vhltsyserr: malloc: ..."               event 13507, ends the walk
int cfg_findPolicyNames(char **names);

// Makes the table anew from `proxy_confp` and the file. Returns the number of policies, or -1
// after a report: also "cfgerr: could not find Policy : NAME." (event 11503) for a policy without
// entries. The table then holds those that were read before.
int cfg_bldCFGlist();

// A copy of the entries of the policy, for the caller to cfg_free; null if the table does not have
// it; the failure marker without memory. Compares whole names, though a file's name holds 50
// characters of them.
cfgrec *cfg_find(const char *name);

// Empties the table.
void free_cfglist();
