#include "lib/frag/tree/frag_list.h"

#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/origin.h"

#include <cstdlib>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

using namespace flatlink;

// Takes the owner of the list as given, because the first node's parent link may be wrong.
static void drop_index_of(frag *node)
{
    if (node->names != nullptr)
        free_name_index(std::exchange(node->names, nullptr));
}

frag *flatlink::take_children(frag *node)
{
    drop_index_of(node);
    return std::exchange(node->child, nullptr);
}

frag *flatlink::pop_front(frag *&list)
{
    frag *node = list;
    if (node != nullptr) {
        list = std::exchange(node->next, nullptr);
        node->parent = nullptr;
        node->is_unlisted = 1;
    }
    return node;
}

void flatlink::push_child(frag *parent, frag *node)
{
    node->parent = parent;
    push_front(&parent->child, node);
}

void flatlink::give_children(frag *parent, frag *list)
{
    drop_index_of(parent);
    parent->child = list;
    for (frag *node = list; node != nullptr; node = node->next)
        node->parent = parent;
}

frag *flatlink::add_child(frag *parent, std::string_view name)
{
    frag *node = newsymfrag(name);
    push_child(parent, node);
    return node;
}

// renamefrag drops the index of the parent's list, or all indexes without a parent. A temporary
// parent with an empty list avoids both.
void flatlink::rename_unlinked(frag *node, const char *plain)
{
    frag stand_in;
    frag *parent = std::exchange(node->parent, &stand_in);
    renamefrag(node, plain);
    node->parent = parent;
}

frag_ptr flatlink::take_frag(frag **head, const char *key)
{
    return frag_ptr(fdel(head, key));
}

void flatlink::del_frag(frag **head, const char *key)
{
    freefrag(fdel(head, key));
}

void flatlink::del_frag_if_empty(frag **head, const char *key)
{
    const frag *node = ffind(head, key);
    if (node != nullptr && node->value == nullptr && node->child == nullptr)
        del_frag(head, key);
}

frag *flatlink::find_or_make(frag **head, const char *key, frag *parent)
{
    frag *node = ffind(head, key);
    return node != nullptr ? node : fsetp(head, key, nullptr, parent);
}

frag *flatlink::set_number(frag **head, const char *key, std::int64_t number, frag *parent)
{
    return fsetp(head, key, std::to_string(number).c_str(), parent);
}

frag *flatlink::set_text_of(frag **head, const char *key, const frag *source, frag *parent)
{
    const std::uint32_t origin = source->origin;
    frag *node = fsetp(head, key, source->value, parent);
    set_origin(node, origin);
    return node;
}

void flatlink::rename_to_number(frag *node, std::int64_t number)
{
    renamefrag(node, std::to_string(number).c_str());
}

std::int64_t flatlink::number_list(frag *first)
{
    std::int64_t number = 0;
    for (frag *node = first; node != nullptr; node = node->next)
        rename_to_number(node, ++number);
    return number;
}

std::int64_t flatlink::count_list(const frag *first)
{
    std::int64_t count = 0;
    for (const frag *node = first; node != nullptr; node = node->next)
        ++count;
    return count;
}

std::int64_t flatlink::bytes_of_list(const frag *first)
{
    std::int64_t bytes = 0;
    std::vector<const frag *> open{first};
    while (!open.empty()) {
        const frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            bytes += static_cast<std::int64_t>(sizeof *node + std::strlen(node->name)) + node->vlen;
            if (node->child != nullptr)
                open.push_back(node->child);
        }
    }
    return bytes;
}

void flatlink::drop_frag_value(frag *node)
{
    std::free(std::exchange(node->value, nullptr));
    node->vlen = 0;
    node->origin = 0;
}
