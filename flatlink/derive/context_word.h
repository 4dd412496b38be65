// Calls of the derivation with all the arguments that a walk hands to its callbacks, also where
// the forms of the other headers leave out what they do not need.
#pragma once

#include "flatlink/derive/loaders.h"
#include "flatlink/derive/rule_walk.h"

using rule_callback = int (*)(frag **db, frag *rule, const char *word, std::uint32_t flags);

// enum_rule_list for a callback that is given `flags` with each child.
inline int enum_rule_list(frag **db, frag *list, rule_callback callback, std::uint32_t flags)
{
    return enum_rule_list(db, list, [callback, flags](frag **tree, frag *rule, const char *word) {
        return callback(tree, rule, word, flags);
    });
}

// vpn_enum_link_rules as such a callback.
inline int vpn_enum_link_rules(frag **db, frag *rule, const char *, std::uint32_t flags)
{
    return vpn_enum_link_rules(db, rule, flags);
}

inline int load_settings(frag **, frag *node)
{
    return load_settings(node);
}

inline int load_interfaces(frag **, frag *list)
{
    return load_interfaces(list);
}
