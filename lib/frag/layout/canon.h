// Canonicalisation: a tree of the numbered layout, as older releases wrote it, becomes one whose
// nodes are named after what they describe, without counters. It runs once, right after the import.
// lib/frag/layout/norm41.h does the reverse.
//
// Every pass takes the address of the tree's head, works in place, skips what is missing, and
// returns 0. Only canon_if reports anything.
#pragma once

struct frag;

// Runs all passes. Meant for a tree that has `def_num_proxies`; proxies and custom proxies are
// rewritten only if their counters exist, everything else in any tree. Afterwards the three
// interface lists exist.
int norm_fragtree(frag **head);

// Objects below `key`: renames each to the value of its `name`, and deletes its counters.
int canon_netobj(frag **head, const char *key);

// Interfaces: moves the aliases of each entry of the list at `key` that is not an alias itself from
// `netobj_list_<interface>_INTERFACE`, which is deleted, into the list. They become entries marked
// by `alias`, numbered after the present entries. The list is made if it is missing, and sorted.
// Alias lists that would take too many steps to find, which only hostile interface names cause, are
// left where they are, and one report says so.
int canon_if(frag **head, const char *key);

// canon_if on the inside, outside and service lists.
int canon_interfaces(frag **head);

// Packet filter rules below `key`: renames a child `rule<number>` to the number and splits its
// value, up to ten fields joined by '+', into named children. A rule without a value is deleted.
int canon_pfrule_sub(frag **head, const char *key);

// canon_pfrule_sub on `pfedit_lcl` and `pfedit_fwd`.
int canon_pfrules(frag **head);

// Turns the interface addresses below `ip` into entries of the three interface lists; updates an
// entry that has the address already.
int canon_ip(frag **head);
