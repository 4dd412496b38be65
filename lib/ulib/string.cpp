#include "lib/ulib/string.h"

#include "lib/ulib/heap.h"

#include <algorithm>
#include <cstring>

using namespace flatlink;

static std::size_t size_of(int length)
{
    return length > 0 ? static_cast<std::size_t>(length) : 0;
}

// The first `length` characters of a C text, or fewer if it ends earlier; empty for null.
static std::string_view front_of(const char *text, int length)
{
    return text == nullptr ? std::string_view()
                           : std::string_view(text, strnlen(text, size_of(length)));
}

char *bncat(char *buffer, int length, const char *source, int count)
{
    if (source == nullptr || count < 1)
        return buffer;
    const std::size_t kept = size_of(length);
    const std::size_t added = size_of(count);
    char *grown = static_cast<char *>(heap_grow(buffer, kept + added + 1));
    std::memcpy(grown + kept, source, added);
    return grown;
}

char *strsave(const char *source, int length)
{
    const std::size_t room = size_of(length);
    char *copy = static_cast<char *>(heap_grow(nullptr, room + 1));
    const std::size_t taken = front_of(source, length).copy(copy, room);
    std::fill(copy + taken, copy + room + 1, '\0');
    return copy;
}

char *stradd(char *text, const char *source, int length)
{
    if (length < 1)
        return text;
    const std::string_view added = front_of(source, length);
    const std::size_t kept = text == nullptr ? 0 : std::strlen(text);
    char *grown = static_cast<char *>(heap_grow(text, kept + added.size() + 1));
    grown[kept + added.copy(grown + kept, added.size())] = '\0';
    return grown;
}

char *repstr(char *text, int oldlength, const char *replacement, int newlength)
{
    const std::string_view inserted = front_of(replacement, newlength);
    const char *tail = text + front_of(text, oldlength).size();
    std::memmove(text + inserted.size(), tail, std::strlen(tail) + 1);
    return text + inserted.copy(text, inserted.size());
}
