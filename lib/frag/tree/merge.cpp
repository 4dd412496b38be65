#include "lib/frag/tree/merge.h"

#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"

#include <vector>

using namespace flatlink;

namespace
{

// What is left to do of one source list.
struct open_merge {
    frag *source;
    frag *destination;
};

} // namespace

// Begins to merge the list `*head`; nothing is left to do if it was copied whole.
static void start_merge(std::vector<open_merge> &open, frag **head, frag *destination)
{
    if (*head == nullptr)
        return;
    if (destination->child == nullptr)
        give_children(destination, copy_fragtree(head, destination));
    else
        open.push_back({*head, destination});
}

int merge_fragtree(frag **head, frag *destination)
{
    std::vector<open_merge> open;
    start_merge(open, head, destination);
    while (!open.empty()) {
        auto &[source, into] = open.back();
        if (source == nullptr) {
            open.pop_back();
            continue;
        }
        frag *node = source;
        frag *owner = into;
        source = source->next;
        frag *found = ffind(&owner->child, fragname(node));
        if (found == nullptr)
            found = fsetp(&owner->child, fragname(node), node->value, owner);
        start_merge(open, &node->child, found);
    }
    return 0;
}
