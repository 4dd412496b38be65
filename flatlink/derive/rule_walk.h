// The walk over the rules. A rule with a VPN object on one side implies links.
#pragma once

#include "flatlink/derive/run_state.h"
#include "lib/frag/objects/netobj.h"

#include <cstdint>

struct frag;

// Marks the number of a proxy rule, so that its links sort after those of all packet filter rules.
inline constexpr std::uint32_t PROXY_RULE = 0x40000000;

namespace flatlink
{

// Puts the state of the derivation back to the start of a run.
void start_rule_walk();

} // namespace flatlink

// Calls back for each child of `list` in sorted order, with the type "rule"; results do not count.
// Returns 1 when `list` is null, else 0.
int enum_rule_list(frag **db, frag *list, const object_callback &callback);

// The callback for a rule: sets the rule's state, finds its two sides and judges the pair. A side
// that is not found is traced. `flags` holds PROXY_RULE for a proxy rule. Returns 0.
int vpn_enum_link_rules(frag **db, frag *rule, std::uint32_t flags);
