// Proxies, custom proxies and policies of the numbered layout become named nodes. Every pass
// takes the address of the tree's head, works in place, passes over what is missing, reports
// nothing and returns 0.
#pragma once

struct frag;

// Each child of `def_proxy` takes the name in its `realname`, and its numbered parameters become
// children (canon_parm).
int canon_def(frag **head);

// Each child of `cust_proxy` moves to the `config-sets` of the proxy that its `realname` names
// (without one: its own name) below `def_proxy`, under the name in its `name`. The owner is a
// key, so that a '_' in it leads one level down; what is missing on the way is made. The last
// one comes to stand first. `cust_proxy` stays, empty.
int canon_cust(frag **head);

// Turns the parameters of one node into children of it. Each child of its `list` holds a
// parameter's `name` and `value`; one that lacks either, or whose name has no text, is dropped.
// Access prefixes of a name become flags. A name with '_' and a digit behind it makes two levels;
// any other '_' is escaped.
//   list       the list's name; it is deleted
//   count_key  a counter below the node, deleted
//   empty_key  a child that is deleted if it is then empty
// A child `cyberurl` becomes `url`, and where an entry of it has `access` and `url`, both
// become the entry's value, joined by a blank, in place of all its children.
int canon_parm(frag *node, const char *list, const char *count_key, const char *empty_key);

// Each policy below `key` takes the name in its `name`, and so do the entries of its `proxy` and
// `parm`. A proxy entry's value becomes the first proxy of `def_proxy` that has a config set of
// the entry's name, or none; a parameter's value is taken out of its `value`.
int canon_policy(frag **head, const char *key);
