// String lists: heap arrays of pointers to texts, terminated by a null pointer. A null list is an
// empty one. A list owns its texts if addstrlist or tokens made them. Adding walks the whole list;
// use tokens to build a long one from a text.
#pragma once

#include <memory>

// Appends `item` without copying it.
//   list      list or null; consumed, only the result is valid afterwards
//   item      keeps its owner. Null terminates the list, so it adds no entry
//   countout  receives the new number of entries; may be null
// Returns the new list; ends the process through outofcore() without memory.
char **addptrlist(char **list, char *item, int *countout);

// Appends a copy of the first `*lengthio` characters of `text` (see strsave); an empty text when
// `lengthio` is null or `*lengthio` below 1. The list owns the copy. `*lengthio` receives the new
// number of entries. List and result as with addptrlist.
char **addstrlist(char **list, const char *text, int *lengthio);

// Releases a list and its entries, each with `freefunction`, or with free() when that is null.
// Does nothing for a null `list`.
void freestrlist(char **list, void (*freefunction)(void *));

struct strlist_free {
    void operator()(char **list) const { freestrlist(list, nullptr); }
};

// Owner for a list that owns its texts: heap_strlist words(tokens(line, " ", &count)).
using heap_strlist = std::unique_ptr<char *[], strlist_free>;
