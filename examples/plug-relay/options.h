// The options of the proxy's hosts lines. plug-relay.options tells flatctl of them.
#pragma once

#include "lib/fwall/access/policy.h"

inline constexpr policy_option plug_relay_options[] = {
    {.name = "-dest", .kind = POLICY_ARG_LIST, .expansion = "permit-destination"},
    {.name = "-ports", .kind = POLICY_ARG_LIST, .expansion = "permit-ports"},
    {.name = "-relay-to", .kind = POLICY_ARG_LIST, .expansion = "relay-to"},
    {.name = "-timeout", .kind = POLICY_ARG_ONE, .expansion = "timeout"},
    {.name = "-session-timeout", .kind = POLICY_ARG_ONE, .expansion = "session-timeout"},
    {},
};
