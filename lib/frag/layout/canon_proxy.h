// Turns proxies, custom proxies and policies of the numbered layout into named nodes. Every pass
// takes the address of the tree's head, works in place, skips what is missing, reports nothing and
// returns 0.
#pragma once

struct frag;

// Renames each child of `def_proxy` to the value of its `realname`, and turns its numbered
// parameters into children (canon_parm).
int canon_def(frag **head);

// Moves each child of `cust_proxy` to the `config-sets` of the proxy below `def_proxy` that its
// `realname` names (default: its own name), and renames it to the value of its `name`. The owner is
// a key: a '_' in it leads one level down, and missing nodes are made. Order is reversed.
// `cust_proxy` stays, empty.
int canon_cust(frag **head);

// Turns the parameters of one node into children of it. Each child of its `list` holds a
// parameter's `name` and `value`; one that lacks either, or whose name has no text, is dropped.
// Access prefixes of a name become flags. A name with a '_' followed by a digit makes two levels;
// any other '_' is escaped.
//   list       the list's name; it is deleted
//   count_key  a counter below the node, deleted
//   empty_key  a child that is deleted if it is then empty
// A child `cyberurl` is renamed to `url`; where an entry of it has `access` and `url`, these two,
// joined by a blank, become the entry's value and replace all its children.
int canon_parm(frag *node, const char *list, const char *count_key, const char *empty_key);

// Renames each policy below `key`, and the entries of its `proxy` and `parm`, to the values of
// their `name`. A proxy entry's value becomes the first proxy of `def_proxy` that has a config set
// of the entry's name, or none; a parameter gets the value of its `value`.
int canon_policy(frag **head, const char *key);
