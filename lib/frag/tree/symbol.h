// The trees of the program, and the calls that work on the current one.
#pragma once

struct frag;

// Head of the default tree, empty at start. The program owns its nodes until it ends.
extern frag *def_database;

// Address of the current tree's head; null until one is chosen.
extern frag **cur_database;

namespace flatlink
{

// The current tree: `cur_database`, which becomes the default tree if unset.
frag **current_tree();

} // namespace flatlink

frag *symffind(const char *key);                   // ffind in the current tree
frag *symfset(const char *key, const char *value); // fset in the current tree
const char *symval(const char *key);               // fval in the current tree
void symset(const char *key, const char *value);   // fset in the current tree
