// Merges one tree into another.
#pragma once

struct frag;

// Adds a list with all below it to the children of `destination`. A destination without children
// gets a copy of the list. Otherwise each source node is looked up there by its name (as fragname
// shows it, with its prefix, taken as a key): if it is missing, a copy with value and children is
// added; if it exists, it keeps its value and the children are merged in the same way.
//   head         the source list; unchanged, must not hold `destination`
// Returns 0.
int merge_fragtree(frag **head, frag *destination);
