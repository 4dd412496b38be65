// The source check of a proxy and its consequences: the terms of the connection, the rule that the
// log shows, the report of a refusal, and the message to the client.
#pragma once

#include "lib/fwall/access/policy.h"

#include <netinet/in.h>

struct cfgrec;

// Checks the client of a connection (srcchk.h), takes the terms of the entry that fits into
// `policy_confp` (policy.h), and stores rule and user in `connContext`.
//   fd       stays the caller's
//   options  the options of this proxy's `hosts` lines; null for none
//   user     null is the empty name
//   say      tell a client that is denied: the first 64 kB of the file of `denial-msg`, which must
//            be a regular file, or without such an entry
//            "NAME/ADDRESS is not authorized to use the PROXY proxy". A client without a rule is
//            told nothing
// Returns 1 when the client may go on. 0 for everything else:
//   "deny host=NAME/ADDRESS no rule assigned to use of PROXY proxy."  event 1503
//   "deny host=NAME/ADDRESS use of proxy"                             event 1503
//   "cfgerr: denial-msg must have one parameter, line N"              event 11502, nothing is said
//   "syserr: cannot display denial-msg PATH: ..."                     event 6508
// and the reports of permit_src_chk (srcchk.h) and get_policy.
[[nodiscard]] int rule_src_chk(int fd, const policy_option *options, const char *user, bool say);

// The same for given ends, as permit_src_addr_chk and permit_src_sub take them. Neither sends the
// client anything.
[[nodiscard]] int rule_src_addr_chk(const sockaddr_in *client, const sockaddr_in *local,
                                    const policy_option *options, const char *user);
[[nodiscard]] int rule_src_sub(const sockaddr_in *local, const policy_option *options,
                               const char *user);

namespace flatlink
{

// The file that a denied client is told; null without a `denial-msg` entry, and after the report
// of one with other than one parameter, which sets `is_faulty`.
const char *denial_file(bool &is_faulty);

} // namespace flatlink

// Stores the rule in `connContext`: the first argument of the first `ruleNumber`, `ruleName` and
// `logLevel` in `list`. Defaults, also used for all three when `code` is SRC_NO_RULE or SRC_FAILED:
// "N/A", the empty name, level -1.
void rule_src_record(int code, cfgrec *list);
