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

namespace flatlink
{

// load_interfaces for each list of a tree, in the order in which the lists take numbers.
void load_interface_lists(frag **tree);

} // namespace flatlink

// Loads the interface lists of a tree into intf_list and finishes them, for programs that want
// nothing else of it.
void build_interface_list(frag **tree);
