#include "lib/ulib/strlist.h"

#include "lib/ulib/heap.h"
#include "lib/ulib/string.h"

using namespace flatlink;

static std::size_t list_length(char *const *list)
{
    std::size_t count = 0;
    while (list != nullptr && list[count] != nullptr)
        ++count;
    return count;
}

char **addptrlist(char **list, char *item, int *countout)
{
    const std::size_t count = list_length(list);
    char **grown = static_cast<char **>(heap_grow(list, (count + 2) * sizeof(char *)));
    grown[count] = item;
    grown[count + 1] = nullptr;
    if (countout != nullptr)
        *countout = static_cast<int>(item == nullptr ? count : count + 1);
    return grown;
}

char **addstrlist(char **list, const char *text, int *lengthio)
{
    return addptrlist(list, strsave(text, lengthio == nullptr ? 0 : *lengthio), lengthio);
}

void freestrlist(char **list, void (*freefunction)(void *))
{
    if (list == nullptr)
        return;
    const auto release = freefunction == nullptr ? std::free : freefunction;
    for (char **entry = list; *entry != nullptr; ++entry)
        release(*entry);
    std::free(list);
}
