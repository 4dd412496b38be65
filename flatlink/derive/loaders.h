// Loads policies, settings and interfaces from the tree: each value becomes a line of the flat
// file, which is passed to that line's parser.
#pragma once

struct frag;

// Feed one policy: name, description, and the proposals below `select`. Return 0.
int load_ike(frag *policy);
int load_ipsec(frag *policy);

// Feeds the settings below `node`. Returns 0.
int load_settings(frag *node);

// Feeds the elements of one list of interfaces, which takes the next list number. Returns 0.
int load_interfaces(frag *list);

// Keys of the lists of interfaces, in the order in which they take numbers. The first is one
// name with an escaped underscore, the second a path, as older files spell it.
inline constexpr const char *interface_lists[] = {
    "netobj_list_all%5Finterfaces",
    "netobj_list_all_interfaces",
    "netobj_list_Outside",
    "netobj_list_Heartbeat",
};

// Loads the interface lists of a tree into intf_list and finishes them, for programs that want
// nothing else of it.
void build_interface_list(frag **tree);
