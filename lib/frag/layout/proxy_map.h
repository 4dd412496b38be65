// The proxy programs of the firewall on each platform. Older databases keep these data in separate
// lists, newer ones in each proxy's node.
#pragma once

#include <span>

struct frag;

// One proxy program of a platform. Texts are never null and static.
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

// The map of the system in the tree's `OS_Type`, whose value must begin with a system's name
// (case-sensitive). map_unix without a value or for an unknown name.
proxy_map determine_os_maprec(frag **head);

namespace flatlink
{

// The first row with this text in a column, such as &proxy_map_row::state; null if none has it.
const proxy_map_row *find_row(proxy_map map, const char *proxy_map_row::*column, const char *text);

} // namespace flatlink
