// The child-name trie, kept by parents with many children while an import runs. A negative filter:
// a miss is certain, a hit must be confirmed in the list.
#pragma once

#include <cstdint>

struct frag;

// One character of the names. Levels are unsorted lists, newest first.
struct cfnode {
    std::int32_t character = 0; // the byte, sign-extended
    cfnode *next = nullptr;     // another character at the same position of a name
    cfnode *child = nullptr;    // characters that may follow
    frag *node = nullptr;       // the child whose name ends here
};

// A new trie node for one character, owned by the caller; null without memory.
cfnode *cfnew(std::int32_t character);

// The trie node at the end of `key`'s first part if a child's name ends there, else null. The
// part ends at NUL or '_'. The empty name is never found.
cfnode *cffind(cfnode **index, const char *key);

// Enters the name of `node`, which ends at NUL or '_'. Returns its trie node, or null without
// memory or for an empty name.
cfnode *cfset(cfnode **index, const char *name, frag *node);

// Frees a trie node with all below it; 1 for null, else 0.
int cffree(cfnode *node);

// Frees a level with all below it and clears its head; 1 for a null address, else 0.
int cffreetree(cfnode **index);

// Call when an import has linked `node` under its parent. The parent counts it, up to sixteen, and
// keeps a trie of its children's names from the seventeenth on. Returns 1 if the node or its parent
// is missing, else 0.
int fnewchild(frag *node);

namespace flatlink
{

// The same for notations that look names up in other ways: from the seventeenth child on the trie
// is due, but only make_due_trie makes it.
void count_new_child(frag *node);

// Makes the trie of a node's present children if it is due and missing. Returns true if the node
// has a trie now.
bool make_due_trie(frag *parent);

} // namespace flatlink

// Ends an import: reverses every sibling list of the tree once, since the import puts new nodes
// at the front, and clears counts and tries. Returns 0.
int fnewcleanup(frag **head);
