// The numbered layout 4.1, as older releases read it: the reverse of lib/frag/layout/canon.h and
// lib/frag/layout/upgrade.h for a whole tree. Both work in place, on a tree that is discarded after
// writing, and report nothing themselves. `head` is the address of the tree's head.
#pragma once

struct frag;

// Gives proxies, custom proxies, policies, objects, lists and rules their numbers and counters.
// Proxies and policies are numbered in reverse tree order; config sets become custom proxies.
// Returns 0.
int norm41(frag **head);

// Copies the `state` of each proxy in the platform's map to the list `proxy`, which is made; on
// Unix systems states stay in the proxies. Returns 1 if there is no `def_proxy`, else 0.
int norm41states(frag **head);
