// Moves whole nodes between lists, for the passes that rebuild a tree. Every function maintains the
// parent links and name indexes of the lists that it changes.
#pragma once

#include "lib/frag/tree/frag.h"

#include <cstdint>

namespace flatlink
{

// Cuts a node's children off and returns them as a list that the caller owns.
frag *take_children(frag *node);

// Removes the first node of a list that take_children returned; null for an empty list. The node
// then has neither siblings nor parent, and the caller owns it.
frag *pop_front(frag *&list);

// Puts a node that is in no list at the front of the parent's children.
void push_child(frag *parent, frag *node);

// Makes an owned list, which may be empty, the children of a node that has none.
void give_children(frag *parent, frag *list);

// Adds a new child at the front, even if one of that name exists. `name` is the stored form.
frag *add_child(frag *parent, std::string_view name);

// renamefrag for a node that is in no list.
void rename_unlinked(frag *node, const char *plain);

// Unlinks the node at `key` and returns it; null when there is none.
frag_ptr take_frag(frag **head, const char *key);

// Deletes the node at `key`, if there is one.
void del_frag(frag **head, const char *key);

// Deletes the node at `key` if it has neither value nor children.
void del_frag_if_empty(frag **head, const char *key);

// The node at `key`, created without a value if it is missing. `parent` is the owner of the list,
// null at the top of the tree.
frag *find_or_make(frag **head, const char *key, frag *parent = nullptr);

// Sets the node at `key` to a decimal number, as fsetp does.
frag *set_number(frag **head, const char *key, std::int64_t number, frag *parent = nullptr);

// Sets the node at `key` to the value of `source`, as fsetp does, and copies its origin.
frag *set_text_of(frag **head, const char *key, const frag *source, frag *parent = nullptr);

// Names the node by a decimal number.
void rename_to_number(frag *node, std::int64_t number);

// Renames the siblings to the numbers from 1 on, in list order. Returns their number.
std::int64_t number_list(frag *first);

// The number of siblings.
std::int64_t count_list(const frag *first);

// The approximate memory, in bytes, that a copy of a list and all below it would take.
std::int64_t bytes_of_list(const frag *first);

// Frees the value and leaves the node without one.
void drop_frag_value(frag *node);

} // namespace flatlink
