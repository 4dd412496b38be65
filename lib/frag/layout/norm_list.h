// Lists as runs of repeated siblings, as in the XML layout: a node with n children becomes n nodes
// of one name, each with an attribute that names the child that it was.
#pragma once

struct frag;

// Sets the parent of each node of a list; returns 0.
int make_parent(frag *parent, frag *first);

// Turns the children of `node` into siblings: the node takes over the children of the first, and
// each further child becomes a node of the node's name right after it. Values of the children are
// lost. A node without children is unchanged, its name included.
//   head      address of the tree's head
//   attr_key  key below each sibling that receives the stored name of the child that it was
//   sort      non-zero: sort_frags first
//   new_name  plain name for the siblings; null keeps the node's own
// Returns 0.
int norm_list(frag **head, frag *node, const char *attr_key, int sort, const char *new_name);

// norm_list with `attrs_gname` on every node named "group", in any case, of the list and all
// below it, innermost first. Returns 0.
int norm_groups(frag **head, frag *first);

// norm_list with `attrs_seq`, sorted, on the child `elem` of every such node. Returns 0.
int norm_groups2(frag **head, frag *first);
