// Names of long sibling lists, kept beside them: where a plain walk finds a name only after
// many nodes, the index gives the same answer, the first node of that name in list order.
// Lists stay as they are. An index comes into being at a look-up that walks far; the node above
// the list owns it.
//
// A program may relink nodes by hand at any time, which no index sees. So a list of up to
// CHECKED_NODES is walked, and the index of a longer one answers only while its ends are those
// of the list and the answer still belongs to the list; freefrag drops every index that could
// know a node that was not taken out through lib/frag/tree. Code that cuts or fills a longer list
// in its midst calls drop_name_indexes. The passes over a whole tree relink nothing unseen, and
// say so by a steady_lists: all indexes answer at once then.
#pragma once

#include <string_view>

struct frag;
struct name_index;

// Nodes of a list that are looked at one by one where others may have relinked them.
inline constexpr int CHECKED_NODES = 512;

// While one lives, lists are changed through lib/frag/tree alone, or drop_name_indexes is called
// after a change and before a node is freed. They nest.
class steady_lists
{
  public:
    steady_lists();
    ~steady_lists();
    steady_lists(const steady_lists &) = delete;
    steady_lists &operator=(const steady_lists &) = delete;
};

namespace flatlink
{

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

} // namespace flatlink
