// The order of siblings.
#pragma once

struct frag;

// The order of numbered children: negative, 0 or positive. Two names that begin with a digit
// have their leading zeros skipped, and of two runs of digits the shorter is the smaller if its
// name ends there. All else is strcmp.
int fragmatch(const char *a, const char *b);

// Sorts one sibling list by fragmatch; a list in order, or in reverse order, costs one pass.
// Equal names keep their order, except that a list with more descents than ascents is reversed
// first, equal names included. Returns 0.
int sort_frags(frag **head);

// Reverses every sibling list of the tree. Returns 0.
int reverse_tree(frag **head);
