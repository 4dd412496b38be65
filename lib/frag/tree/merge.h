// Adding one tree to another.
#pragma once

struct frag;

// Adds a list with all below it to the children of `destination`. A destination without
// children gets a copy of the list. Otherwise a node whose name (as fragname shows it, prefix
// included, taken as a key) leads to none gets one with a copy of its value and children; a node
// that is there keeps its value, and its children are merged in the same way.
//   head         the source list; stays as it is, and must not hold `destination`
// Returns 0.
int merge_fragtree(frag **head, frag *destination);
