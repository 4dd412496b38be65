#include "lib/frag/tree/cftrie.h"

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/node_pool.h"

#include <new>
#include <utility>
#include <vector>

using namespace flatlink;

static bool ends_part(char c)
{
    return c == '\0' || c == '_';
}

static cfnode *find_character(cfnode *level, std::int32_t character)
{
    while (level != nullptr && level->character != character)
        level = level->next;
    return level;
}

cfnode *cfnew(std::int32_t character)
{
    void *room = allocate_node(sizeof(cfnode));
    return room == nullptr ? nullptr : new (room) cfnode{.character = character};
}

cfnode *cffind(cfnode **index, const char *key)
{
    cfnode *found = nullptr;
    for (cfnode *level = *index; !ends_part(*key); ++key, level = found->child) {
        found = find_character(level, static_cast<signed char>(*key));
        if (found == nullptr)
            return nullptr;
    }
    return found != nullptr && found->node != nullptr ? found : nullptr;
}

cfnode *cfset(cfnode **index, const char *name, frag *node)
{
    cfnode *last = nullptr;
    for (cfnode **level = index; !ends_part(*name); ++name, level = &last->child) {
        // The byte, sign-extended. NOLINTNEXTLINE(bugprone-signed-char-misuse)
        const std::int32_t character = static_cast<signed char>(*name);
        last = find_character(*level, character);
        if (last != nullptr)
            continue;
        last = cfnew(character);
        if (last == nullptr)
            return nullptr;
        last->next = *level;
        *level = last;
    }
    if (last != nullptr)
        last->node = node;
    return last;
}

int cffree(cfnode *node)
{
    if (node == nullptr)
        return 1;
    node->next = nullptr;
    return cffreetree(&node);
}

int cffreetree(cfnode **index)
{
    if (index == nullptr)
        return 1;
    // Names may be long: the levels still to free are chained through `next`, not recursed into.
    cfnode *rest = std::exchange(*index, nullptr);
    while (rest != nullptr) {
        cfnode *node = rest;
        if (cfnode *below = node->child) {
            cfnode *last = below;
            while (last->next != nullptr)
                last = last->next;
            last->next = node->next;
            rest = below;
        } else {
            rest = node->next;
        }
        release_node(node, sizeof *node);
    }
    return 0;
}

// One above the full count marks that the trie is due.
void flatlink::count_new_child(frag *node)
{
    frag *parent = node->parent;
    if (parent->index != nullptr)
        cfset(&parent->index, node->name, node);
    else if ((parent->flags & FRAG_COUNT_MASK) <= FRAG_COUNT_FULL)
        parent->flags += FRAG_COUNT_ONE;
}

bool flatlink::make_due_trie(frag *parent)
{
    if (parent->index == nullptr && (parent->flags & FRAG_COUNT_MASK) > FRAG_COUNT_FULL) {
        for (frag *child = parent->child; child != nullptr; child = child->next)
            cfset(&parent->index, child->name, child);
        parent->flags -= FRAG_COUNT_ONE; // with the trie the mark is of no more use
    }
    return parent->index != nullptr;
}

int fnewchild(frag *node)
{
    if (node == nullptr || node->parent == nullptr)
        return 1;
    count_new_child(node);
    make_due_trie(node->parent);
    return 0;
}

static void finish_node(frag *node)
{
    node->flags &= ~FRAG_COUNT_MASK;
    if (node->index != nullptr)
        cffreetree(&node->index);
    if (node->names != nullptr)
        free_name_index(std::exchange(node->names, nullptr));
}

// Reverses each list after the lists below it: this visits nodes from the newest to the oldest, the
// order in which they lie in memory.
int fnewcleanup(frag **head)
{
    struct open_list {
        frag **head;
        frag *rest;
        frag *reversed = nullptr;
    };
    drop_name_indexes();
    std::vector<open_list> open{{head, *head}};
    while (!open.empty()) {
        open_list &list = open.back();
        frag *node = list.rest;
        if (node == nullptr) {
            *list.head = list.reversed;
            open.pop_back();
            continue;
        }
        list.rest = std::exchange(node->next, list.reversed);
        list.reversed = node;
        finish_node(node);
        if (node->child != nullptr)
            open.push_back({&node->child, node->child});
    }
    return 0;
}
