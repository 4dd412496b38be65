// Building blocks of the conversion back to the numbered layout: they restore the numbers and
// counters of lists. lib/frag/layout/norm41.h applies them to a whole tree,
// lib/frag/layout/norm_interfaces.h holds those of the interface lists.
//
// Every pass works in place, skips what is missing and reports nothing. `head` is the address of
// the tree's head. A key may be a path.
#pragma once

struct frag;

// Numbers a list of objects. The name of each is kept in `name`; if it has a child `list_key`, that
// child's children are sorted and numbered, and `count_key` is set to their number. Returns 1 plus
// the number of objects.
int norm_netobj(frag *first, const char *list_key, const char *count_key);

// Parameters of a proxy or policy: the children of its child `list_name`, or all its children if
// it has no such child. Each becomes a numbered entry of a new `list_name`, with a `name` and a
// `value`; a parameter with a child whose name begins with a digit gives one entry for each of
// its children, named by both. Access flags go into the name's text.
//   count_key  set in the node to the number of entries
//   spare      no effect
// New entries go to the front, so the numbers fall. Returns 0.
int norm_parm(frag *node, const char *list_name, const char *count_key, int spare);

// Merges the access flags of `node` with the prefixes `deny-` and `permit-` of the text of
// `name_node`: afterwards the node's flags hold both, and the text begins with `permit-`, then
// `deny-`, accordingly. Any other prefix ends the search and stays in the text.
void flags_to_name(frag *node, frag *name_node);

// The inverse of canon_ip: the first entry of each interface list gives the addresses below
// `ip`. A list without an address gives a placeholder. Nothing happens without `ip`.
void norm_ip32(frag **head);

// Deletes `delete_key`, sorts the list at `list_key`, numbers it from 1 on, sets `count_key` to its
// length (0 without the list), and sorts again. Both other keys may be null. Returns 0.
int norm_renumber(frag **head, const char *list_key, const char *count_key, const char *delete_key);

inline constexpr int PACKED_RULE_SIZE = 126; // bytes of a packed rule

// Packs the rules of a list: sorted, each takes the name `rule<number>`, and its fields joined
// by '+' become its value, cut at PACKED_RULE_SIZE bytes. Rules that have such a name already are
// neither changed nor counted. `count_key` is set to the number of packed rules. Returns 0.
int norm_pfrules(frag **head, const char *list_key, const char *count_key);

// Sorts the list at `key` and gives the children whose names begin with a digit four-digit
// numbers from 0001 on. Returns 0.
int norm_vpndata(frag **head, const char *key);
