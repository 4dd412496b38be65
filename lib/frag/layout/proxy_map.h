// The proxy programs of the firewall on each platform: what older databases kept in lists of
// their own and newer ones keep in each proxy's node.
#pragma once

#include <span>

struct frag;

// One proxy program of a platform. Texts are never null and live for ever.
struct proxy_map_row {
    const char *node;    // name below `def_proxy`; "NOT_DEF" in a slot that has no such node
    const char *state;   // name of its on/off state in the old `proxy` list
    const char *type;    // value of `proxy-type`; rows of the plug relay share theirs
    const char *port;    // `bind-port` by default: a number or service name; empty for none
    const char *program; // value of `proxy-exec`; empty for none
};

using proxy_map = std::span<const proxy_map_row>;

// To add a program, add a row to the one table in the source: both maps are made from it.
extern const proxy_map map_unix;
extern const proxy_map map_nt;

// The map of the system that `OS_Type` in the tree names: the value equals or begins with the
// name of a system, its case minded. map_unix without a value or for an unknown name.
proxy_map determine_os_maprec(frag **head);

namespace flatlink
{

// The first row with this text in a column, such as &proxy_map_row::state; null if none has it.
const proxy_map_row *find_row(proxy_map map, const char *proxy_map_row::*column, const char *text);

} // namespace flatlink
