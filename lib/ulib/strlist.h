// String lists: heap arrays of pointers to texts, ended by a null pointer. No list at all (null)
// is an empty one. A list owns its texts when addstrlist or tokens made them.
// Adding walks the whole list; who builds a long one from a text uses tokens.
#pragma once

#include <memory>

// Appends `item` without copying it.
//   list      list or null; given up, only the result is valid afterwards
//   item      belongs to whom it belonged before. Null ends the list, so it adds no entry
//   countout  receives the new number of entries; may be null
// Returns the new list; ends the process through outofcore() when there is no memory.
char **addptrlist(char **list, char *item, int *countout);

// Appends a copy of the first `*lengthio` characters of `text` (see strsave); an empty text when
// `lengthio` is null or `*lengthio` below 1. The list owns the copy. `*lengthio` receives the new
// number of entries. List and result as with addptrlist.
char **addstrlist(char **list, const char *text, int *lengthio);

// Releases a list and its entries, each with `freefunction`, or with free() when that is null.
// A null `list` is nothing to do.
void freestrlist(char **list, void (*freefunction)(void *));

struct strlist_free {
    void operator()(char **list) const { freestrlist(list, nullptr); }
};

// Owner for a list that owns its texts: heap_strlist words(tokens(line, " ", &count)).
using heap_strlist = std::unique_ptr<char *[], strlist_free>;
