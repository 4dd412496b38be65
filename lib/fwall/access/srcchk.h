// Which clients may use the proxy: the `hosts` entries of `proxy_confp`, in file order.
//   PROXY: [permit-|deny-]hosts PATTERN... [-OPTION...]
// The patterns end at the first argument that begins with `-`; the first that fits decides. A
// pattern that begins with `~` is compared with the client's identity as the firewall knows it; one
// of digits, `.`, `*`, `:` and `-` with its address; any other with its name. The name is looked up
// once, for the first pattern that needs it, and never for an address that a `rev_dns` entry lists.
//
// The permit_ calls only answer. The rule_src_ calls of srcrule.h also act on the answer.
#pragma once

#include <netinet/in.h>

// Answers of the permit_ calls. A caller refuses all but SRC_PERMITTED.
inline constexpr int SRC_PERMITTED = 0;
inline constexpr int SRC_NO_RULE = 1; // no entry fits
inline constexpr int SRC_DENIED = 2;  // the entry that fits has the prefix deny-
inline constexpr int SRC_FAILED = -1; // an end of the connection is not known

// Checks the client of a connection. Sets `proxy_riaddr`, the source of `connContext`, and
// `permit_confp` to the entry that fits (unchanged without one). `proxy_rladdr`, the name to show,
// becomes
//   the firewall's display name   after a match of a `~` pattern
//   the host name                 with `use_name_logs` on, unless `rev_dns` lists the client
//   "nodnsquery"                  after any other match
//   "unknown"                     without a match, unless it held a text before
// Failures: "syserr: cannot get peer name" (event 6509). An entry
// without arguments is skipped after "cfgerr: hosts takes at least one argument, line N"
// (event 11502).
[[nodiscard]] int permit_src_chk(int fd);

// The same for given ends, neither null; `connContext` is not changed.
[[nodiscard]] int permit_src_addr_chk(const sockaddr_in *client, const sockaddr_in *local);

// The same for the client whose address stands in `proxy_riaddr`.
[[nodiscard]] int permit_src_sub(const sockaddr_in *local);

// 1 when a `rev_dns` entry of `proxy_confp` lists the dotted address, which must then not be looked
// up, else -1. An argument with a `-` is a range. An entry without arguments is skipped after
// "vhltcfgerr: rev_dns takes at least one argument, line N" (event 11502).
int inat_addr(const char *address);
