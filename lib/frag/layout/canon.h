// Canonicalisation: a tree of the numbered layout, as older releases wrote it, becomes one whose
// nodes bear the names of what they describe, without counters. It runs once, right after the
// import. lib/frag/layout/norm41.h is the way back.
//
// Every pass takes the address of the tree's head, works in place, passes over what is missing,
// and returns 0. Nothing is reported but what canon_if says.
#pragma once

struct frag;

// The whole rewrite. Meant for a tree that has `def_num_proxies`; proxies and custom proxies are
// rewritten only where their counters are there, all else in any tree. The three interface lists
// exist afterwards.
int norm_fragtree(frag **head);

// Objects below `key`: each takes the name in its `name`, and its counters go.
int canon_netobj(frag **head, const char *key);

// Interfaces: each entry of the list at `key` that is no alias itself gets its aliases from
// `netobj_list_<interface>_INTERFACE`, which is deleted. They become entries with the numbers
// behind the count of entries, marked by `alias`. The list is made if it is missing, and sorted.
// Alias lists among millions of others, as only made-up interface names lead to, are left where
// they are, and one report says so.
int canon_if(frag **head, const char *key);

// canon_if on the inside, outside and service lists.
int canon_interfaces(frag **head);

// Packet filter rules below `key`: a child `rule<number>` takes the number as its name, and its
// value, up to ten fields joined by '+', becomes named children. A rule without a value goes.
int canon_pfrule_sub(frag **head, const char *key);

// canon_pfrule_sub on `pfedit_lcl` and `pfedit_fwd`.
int canon_pfrules(frag **head);

// The interface addresses below `ip` become entries of the three interface lists; an entry that
// has the address already is updated.
int canon_ip(frag **head);
