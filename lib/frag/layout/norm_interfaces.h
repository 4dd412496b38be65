// Converts the interface lists back to the numbered layout. Aliases move to lists of their own,
// `netobj_list_<interface>_INTERFACE`, and `netobj_list_all%5Finterfaces` collects one entry for
// every interface, with the list that it came from in `location`.
//
// `head` is the address of the tree's head. Missing lists are made. Only norm_if reports anything.
#pragma once

struct frag;

// Converts the list at `key`: deletes entries without an interface, moves entries marked as aliases
// to the alias list of their interface (the name up to the first ':'), and copies the others to the
// list of all interfaces; the list is sorted and numbered. `key` must not be that of the list of
// all interfaces. Aliases that would add 256 MB to the list itself, which only hostile interface
// names can cause, stay where they are, and one report says so. Returns 0.
int norm_if(frag **head, const char *key);

// Copies an entry of some other list into the list of all interfaces, in place of those with the
// same interface, ASCII case ignored. That list is sorted and numbered; the new entry gets the last
// number and goes to the front. Returns 1, with nothing done, if the entry has no interface, else
// 0.
int add_to_allif(frag **head, frag *entry);

// 1 if the list `list_name`, a key below `netobj_list`, has an entry with exactly this interface,
// else 0. Either text may be null.
int is_in_list(frag **head, const char *list_name, const char *interface);

// norm_if on the service, outside and inside lists, in this order, so that an inside entry wins if
// an interface is in several. Entries of the list of all interfaces whose `location` names a list
// without their interface get "Unknown", and the list's counter is set. Returns 0.
int norm_interfaces(frag **head);
