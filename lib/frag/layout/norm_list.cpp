#include "lib/frag/layout/norm_list.h"

#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/name_index.h"
#include "lib/ulib/text.h"

#include <string>
#include <vector>

using namespace flatlink;

int make_parent(frag *parent, frag *first)
{
    for (frag *node = first; node != nullptr; node = node->next)
        node->parent = parent;
    return 0;
}

// A sibling takes over what the child held, and is marked with its name.
static void take_over(frag *sibling, const frag_ptr &child, const char *attr_key)
{
    give_children(sibling, take_children(child.get()));
    fsetp(&sibling->child, attr_key, child->name, sibling);
}

int norm_list(frag **head, frag *node, const char *attr_key, int sort, const char *new_name)
{
    if (sort != 0)
        sort_frags(&node->child);
    if (node->child == nullptr)
        return 0;
    if (new_name != nullptr)
        renamefrag(node, new_name);
    drop_name_index(node->parent != nullptr ? &node->parent->child : head);
    const std::string name = fragname(node);
    frag *rest = take_children(node);
    take_over(node, frag_ptr(pop_front(rest)), attr_key);
    for (frag *last = node; rest != nullptr; last = last->next) {
        frag *sibling = newsymfrag(name);
        sibling->parent = node->parent;
        sibling->next = last->next;
        last->next = sibling;
        take_over(sibling, frag_ptr(pop_front(rest)), attr_key);
    }
    return 0;
}

// All nodes named "group" of a list and below it, each before those below it.
static std::vector<frag *> groups_of(frag *first)
{
    std::vector<frag *> groups;
    std::vector<frag *> open{first};
    while (!open.empty()) {
        frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            if (same_word(node->name, "group"))
                groups.push_back(node);
            if (node->child != nullptr)
                open.push_back(node->child);
        }
    }
    return groups;
}

int norm_groups(frag **head, frag *first)
{
    const std::vector<frag *> groups = groups_of(first);
    for (auto group = groups.rbegin(); group != groups.rend(); ++group)
        norm_list(head, *group, "attrs_gname", 0, nullptr);
    return 0;
}

int norm_groups2(frag **head, frag *first)
{
    const std::vector<frag *> groups = groups_of(first);
    for (auto group = groups.rbegin(); group != groups.rend(); ++group)
        if (frag *element = ffind(&(*group)->child, "elem"))
            norm_list(head, element, "attrs_seq", 1, nullptr);
    return 0;
}
