// The interface lists on the way back to the numbered layout. Aliases move to lists of their
// own, `netobj_list_<interface>_INTERFACE`, and `netobj_list_all%5Finterfaces` gathers one entry
// for every interface, with the list that it came from in `location`.
//
// `head` is the address of the tree's head; lists that are missing are made; nothing is
// reported but what norm_if says.
#pragma once

struct frag;

// Brings the list at `key` to the numbered layout: entries without an interface go, entries that
// say that they are aliases move to the alias list of their interface (its name up to the first
// ':'), the others are copied to the list of all interfaces, sorted and numbered. `key` must not
// be that of the list of all interfaces. Aliases that would put 256 MB into the list itself, as
// only made-up interface names can ask for, stay where they are, and one report says so.
// Returns 0.
int norm_if(frag **head, const char *key);

// Copies an entry of some other list into the list of all interfaces, in place of those with the
// same interface, ASCII case ignored. That list is sorted and numbered; the new entry bears the
// last number and stands in front. Returns 1, with nothing done, if the entry has no interface,
// else 0.
int add_to_allif(frag **head, frag *entry);

// 1 if the list `list_name`, a key below `netobj_list`, has an entry with exactly this interface,
// else 0. Either text may be null.
int is_in_list(frag **head, const char *list_name, const char *interface);

// norm_if on the service, outside and inside lists, so that an inside entry wins where an
// interface stands in several. Entries of the list of all interfaces whose `location` does not
// hold their interface get "Unknown", and its counter is set. Returns 0.
int norm_interfaces(frag **head);
