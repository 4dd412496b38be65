// The options of the proxy's hosts lines. line-filter.options tells flatctl of them.
#pragma once

#include "lib/fwall/access/policy.h"

inline constexpr policy_option line_filter_options[] = {
    {.name = "-lines", .kind = POLICY_ARG_LIST, .expansion = "permit-lines"},
    {},
};
