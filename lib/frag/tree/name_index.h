// An index of names beside each long sibling list. It gives the same answer as a walk, the first
// node of that name in list order, and never changes the list. A look-up that walks far creates it;
// the node above the list owns it.
//
// A program may relink nodes by hand at any time without the index noticing. Therefore a list of
// up to CHECKED_NODES is walked, and the index of a longer one is used only if the list's ends have
// not changed and the answer still belongs to the list; freefrag drops every index that may hold a
// node that was not unlinked through lib/frag/tree. Code that relinks nodes in the middle of a
// longer list must call drop_name_indexes. Passes over a whole tree relink nothing by hand and
// declare that by a steady_lists, which skips these checks.
#pragma once

#include <string_view>

struct frag;
struct name_index;

// Longest list that is walked node by node, unless a steady_lists exists.
inline constexpr int CHECKED_NODES = 512;

namespace flatlink
{

// Promises that during its lifetime lists are changed only through lib/frag/tree, or that
// drop_name_indexes is called after a change and before a node is freed. May be nested.
class steady_lists
{
  public:
    steady_lists();
    ~steady_lists();
    steady_lists(const steady_lists &) = delete;
    steady_lists &operator=(const steady_lists &) = delete;
};

// The first node of the list with exactly this name, or null. An empty list is allowed.
frag *find_in_list(frag **head, std::string_view name);

// Puts a node at the front of a list and into the list's index. Does not set the parent.
void push_front(frag **head, frag *node);

// Invalidate the index of one list, or of all.
void drop_name_index(frag **head);
void drop_name_indexes();

// Frees an index. For the destruction of the list's owner.
void free_name_index(name_index *index);

// Only lists whose head has a fixed address are indexed: the children of a node, the default tree,
// and one more top-level list that is set here. Null unsets it.
void index_top_list(frag **head);

} // namespace flatlink
