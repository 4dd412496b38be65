// Moves of whole nodes between lists, for the passes that rebuild a tree. Every function keeps
// parent links and the name indexes of the lists that it changes in step.
#pragma once

#include "lib/frag/tree/frag.h"

#include <cstdint>

namespace flatlink
{

// Cuts a node's children off and returns them as a list that the caller owns.
frag *take_children(frag *node);

// Takes the first node off a list that take_children returned, or null from an empty one. The
// node has neither sibling nor parent afterwards; the caller owns it.
frag *pop_front(frag *&list);

// Puts a node that is in no list at the front of the parent's children.
void push_child(frag *parent, frag *node);

// Makes an owned list, which may be empty, the children of a node that has none.
void give_children(frag *parent, frag *list);

// A new child at the front, whether or not there is one of that name; `name` as it is stored.
frag *add_child(frag *parent, std::string_view name);

// renamefrag for a node that is in no list.
void rename_unlinked(frag *node, const char *plain);

// Takes the node at `key` out of its list; null when there is none.
frag_ptr take_frag(frag **head, const char *key);

// Deletes the node at `key`, if there is one.
void del_frag(frag **head, const char *key);

// Deletes the node at `key` if it has neither value nor children.
void del_frag_if_empty(frag **head, const char *key);

// The node at `key`, made without a value if it is missing; `parent` owns the list, null at the
// top of the tree.
frag *find_or_make(frag **head, const char *key, frag *parent = nullptr);

// Sets the node at `key` to a decimal number, as fsetp does.
frag *set_number(frag **head, const char *key, std::int64_t number, frag *parent = nullptr);

// Sets the node at `key` to the text of another, whose origin it gets, as fsetp does.
frag *set_text_of(frag **head, const char *key, const frag *source, frag *parent = nullptr);

// Names the node by a decimal number.
void rename_to_number(frag *node, std::int64_t number);

// Names the siblings by the numbers from 1 on, in list order. Returns how many there are.
std::int64_t number_list(frag *first);

// How many siblings there are.
std::int64_t count_list(const frag *first);

// The memory in bytes of a list and all below it, nearly: what a copy of it would take.
std::int64_t bytes_of_list(const frag *first);

// Frees the value; the node is then without one.
void drop_frag_value(frag *node);

} // namespace flatlink
