#include "lib/ulib/heap.h"

#include "lib/ulib/report.h"

using namespace flatlink;

void *flatlink::heap_grow(void *block, std::size_t size_bytes)
{
    void *grown = std::realloc(block, size_bytes);
    if (grown == nullptr)
        outofcore();
    return grown;
}

char *flatlink::heap_copy(std::string_view text)
{
    char *copy = static_cast<char *>(heap_grow(nullptr, text.size() + 1));
    copy[text.copy(copy, text.size())] = '\0';
    return copy;
}
