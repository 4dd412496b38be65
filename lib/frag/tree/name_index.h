// Names of long sibling lists, kept beside them: where a plain walk finds a name only behind
// many nodes, the index gives the same answer, the first node of that name in list order.
// Lists stay as they are. An index comes into being at a look-up that walks far; the node above
// the list owns it.
//
// Code that relinks nodes of a list by hand, instead of through lib/frag/tree/frag.h, calls
// drop_name_indexes when it is done and before it frees a node that it took out.
#pragma once

#include <string_view>

struct frag;
struct name_index;

// The first node of the list with exactly this name, or null. An empty list is allowed.
frag *find_in_list(frag **head, std::string_view name);

// Puts a node at the front of a list; an index of that list follows. Does not set the parent.
void push_front(frag **head, frag *node);

// Forgets what is known of one list, or of all.
void drop_name_index(frag **head);
void drop_name_indexes();

// Frees an index; for the owner of the list, when it ends.
void free_name_index(name_index *index);

// Only lists whose head cannot change its address are indexed: the children of a node, the
// default tree, and one more top-level list that is named here. Null takes that one away again.
void index_top_list(frag **head);
