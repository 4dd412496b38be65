#include "lib/frag/tree/frag.h"

#include "lib/frag/tree/cftrie.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/node_pool.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/report.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

using namespace flatlink;

// A node and its first name share one block: trees hold millions of nodes, and one allocation for
// both saves a third of the memory and the time. A later name gets a block of its own. The name
// begins right after the last field, in what would be padding.
constexpr std::size_t INBORN_NAME_AT = offsetof(frag, names) + sizeof(frag::names) + 4;

static char *inborn_name(frag *node)
{
    return reinterpret_cast<char *>(node) + INBORN_NAME_AT;
}

static void free_name(frag *node)
{
    if (node->name != inborn_name(node))
        std::free(node->name);
}

static std::size_t node_size(std::string_view inborn)
{
    return std::max(sizeof(frag), INBORN_NAME_AT + inborn.size() + 1);
}

static void free_node(frag *node)
{
    if (node->index != nullptr)
        cffreetree(&node->index);
    if (node->names != nullptr)
        free_name_index(node->names);
    free_name(node);
    std::free(node->value);
    const std::size_t size = node_size(inborn_name(node));
    node->~frag();
    release_node(node, size);
}

frag *newsymfrag(std::string_view name)
{
    name = name.substr(0, name.find('\0')); // free_node takes the size from the NUL terminator
    void *block = allocate_node(node_size(name));
    if (block == nullptr)
        outofcore();
    frag *node = new (block) frag;
    node->name = inborn_name(node);
    std::memcpy(node->name, name.data(), name.size());
    node->name[name.size()] = '\0';
    return node;
}

std::string flatlink::escaped_name(std::string_view plain)
{
    constexpr char HEX[] = "0123456789ABCDEF";
    std::string stored;
    stored.reserve(plain.size());
    for (const char c : plain) {
        if (c != '_' && c != '%') {
            stored += c;
            continue;
        }
        const auto byte = static_cast<unsigned char>(c);
        stored += {'%', HEX[byte >> 4], HEX[byte & 15]};
    }
    return stored;
}

void renamefrag(frag *node, const char *plain)
{
    const std::string stored = escaped_name(plain);
    char *name = strdup(stored.c_str());
    if (name == nullptr)
        outofcore();
    free_name(node);
    node->name = name;
    if (node->parent != nullptr)
        drop_name_index(&node->parent->child);
    else
        drop_name_indexes();
}

void flatlink::write_frag_value(frag *node, std::size_t offset, const char *bytes,
                                std::size_t length)
{
    const std::size_t end = offset + length;
    auto *value = static_cast<char *>(std::realloc(node->value, end + 1));
    if (value == nullptr)
        outofcore();
    if (length > 0)
        std::memcpy(value + offset, bytes, length);
    value[end] = '\0';
    node->value = value;
    node->vlen = static_cast<std::int32_t>(end);
}

void flatlink::set_frag_value(frag *node, const char *text, std::size_t length)
{
    write_frag_value(node, 0, text, length);
}

// Chains the lists below and frees them one by one: a recursion could be deeper than the stack.
void freefrag(frag *node)
{
    if (node == nullptr)
        return;
    if (node->is_unlisted == 0)
        drop_name_indexes(); // a caller may have unlinked it by hand from an indexed list
    frag *rest = std::exchange(node->child, nullptr);
    free_node(node);
    std::vector<frag *> open_lists;
    while (rest != nullptr || !open_lists.empty()) {
        if (rest == nullptr) {
            rest = open_lists.back();
            open_lists.pop_back();
            continue;
        }
        frag *freed = rest;
        rest = freed->next;
        if (freed->child != nullptr)
            open_lists.push_back(std::exchange(freed->child, nullptr));
        free_node(freed);
    }
}

void flatlink::free_fraglist(frag **head)
{
    drop_name_index(head);
    while (*head != nullptr) {
        frag *node = *head;
        *head = std::exchange(node->next, nullptr);
        node->is_unlisted = 1;
        freefrag(node);
    }
}

// Removes the first part from a key. `more` receives whether another part follows.
static std::string_view take_part(const char *&key, bool &more)
{
    std::size_t length = 0; // parts are short: a call that sets up a search costs more
    while (key[length] != '_' && key[length] != '=' && key[length] != '\0')
        ++length;
    const std::string_view part(key, length);
    more = key[length] == '_';
    key += length + (more ? 1 : 0);
    return part;
}

frag *ffind(frag **head, const char *key)
{
    if (key == nullptr)
        return nullptr;
    for (;;) {
        frag *first = *head;
        if (first == nullptr)
            return nullptr;
        const char *start = key;
        bool more = false;
        const std::string_view part = take_part(key, more);
        // While an import runs, a trie may rule the name out. Empty names are not in it.
        if (first->parent != nullptr && first->parent->index != nullptr && !part.empty() &&
            cffind(&first->parent->index, start) == nullptr)
            return nullptr;
        frag *node = find_in_list(head, part);
        if (node == nullptr)
            return nullptr;
        if (!more) {
            note_found(node);
            return node;
        }
        head = &node->child;
    }
}

frag *fnewfind(frag **head, const char *key)
{
    return ffind(head, key);
}

frag *ffind2(frag **head, const char *key1, const char *key2)
{
    frag *node = ffind(head, key1);
    return node == nullptr ? nullptr : ffind(&node->child, key2);
}

const char *fval(frag **head, const char *key)
{
    const frag *node = ffind(head, key);
    return node == nullptr ? nullptr : node->value;
}

static void replace_value(frag *node, const char *value)
{
    // Copies before freeing: `value` may lie inside the old text.
    char *copy = nullptr;
    const std::size_t length = value == nullptr ? 0 : std::strlen(value);
    if (value != nullptr) {
        copy = strdup(value);
        if (copy == nullptr)
            outofcore();
    }
    std::free(node->value);
    node->value = copy;
    node->vlen = static_cast<std::int32_t>(length);
    node->origin = 0;
}

frag *fsetp(frag **head, const char *key, const char *value, frag *parent)
{
    for (bool more = true;;) {
        const std::string_view part = take_part(key, more);
        frag *node = *head == nullptr ? nullptr : find_in_list(head, part);
        if (node == nullptr) {
            node = newsymfrag(part);
            node->parent = parent;
            push_front(head, node);
        }
        if (!more) {
            replace_value(node, value);
            return node;
        }
        parent = node;
        head = &node->child;
    }
}

frag *fset(frag **head, const char *key, const char *value)
{
    return fsetp(head, key, value, nullptr);
}

frag *fset_list(frag **node, const char *key, const char *value)
{
    frag *owner = *node;
    frag *result = fset(&owner->child, key, value);
    if (result->parent == nullptr)
        result->parent = owner;
    else if (owner->child->parent == nullptr)
        owner->child->parent = owner;
    return result;
}

frag *fdel(frag **head, const char *key)
{
    if (key == nullptr)
        return nullptr;
    for (bool more = true;;) {
        const std::string_view part = take_part(key, more);
        frag *node = *head == nullptr ? nullptr : find_in_list(head, part);
        if (node == nullptr)
            return nullptr;
        if (more) {
            head = &node->child;
            continue;
        }
        drop_name_index(head);
        frag **link = head;
        while (*link != node)
            link = &(*link)->next;
        *link = node->next;
        node->parent = nullptr;
        node->is_unlisted = 1;
        return node;
    }
}

// Copies one list without children. The caller copies those, from the pairs of node and copy.
static frag *copy_list(const frag *source, frag *parent,
                       std::vector<std::pair<const frag *, frag *>> &open_nodes)
{
    frag *copied = nullptr;
    for (frag **end = &copied; source != nullptr; source = source->next) {
        frag *node = newsymfrag(source->name);
        node->parent = parent;
        node->flags = source->flags;
        node->origin = source->origin;
        node->vlen = source->vlen;
        if (source->value != nullptr)
            set_frag_value(node, source->value, static_cast<std::size_t>(source->vlen));
        if (source->child != nullptr)
            open_nodes.emplace_back(source, node);
        *end = node;
        end = &node->next;
    }
    return copied;
}

frag *copy_fragtree(frag **head, frag *parent)
{
    std::vector<std::pair<const frag *, frag *>> open_nodes;
    frag *copied = copy_list(*head, parent, open_nodes);
    while (!open_nodes.empty()) {
        const auto [source, node] = open_nodes.back();
        open_nodes.pop_back();
        node->child = copy_list(source->child, node, open_nodes);
    }
    return copied;
}
