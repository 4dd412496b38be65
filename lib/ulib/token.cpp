#include "lib/ulib/token.h"

#include "lib/ulib/heap.h"

#include <algorithm>
#include <cstring>

using namespace flatlink;

static bool is_separator(char c, const char *delimiter)
{
    return c != '\0' && (c == '\t' || (delimiter != nullptr && c == *delimiter));
}

const char *next_token(const char *text, const char *delimiter)
{
    while (is_separator(*text, delimiter))
        ++text;
    return text;
}

const char *end_token(const char *text, const char *delimiter)
{
    while (*text != '\0' && !is_separator(*text, delimiter))
        ++text;
    return text;
}

// Grows its list by doubling: addstrlist walks the list for each entry, which would take time
// quadratic in the number of words.
char **tokens(const char *text, const char *delimiter, int *countout)
{
    if (text == nullptr || *text == '\0')
        return nullptr;
    char **list = nullptr;
    std::size_t count = 0;
    std::size_t room = 0;
    const char *end = text;
    do {
        const char *word = next_token(end, delimiter);
        end = end_token(word, delimiter);
        if (count + 2 > room) {
            room = std::max<std::size_t>(8, 2 * room);
            list = static_cast<char **>(heap_grow(list, room * sizeof(char *)));
        }
        list[count++] = heap_copy({word, end});
    } while (*end != '\0');
    list[count] = nullptr;
    if (countout != nullptr)
        *countout = static_cast<int>(count);
    return list;
}

static constexpr std::size_t PART_BYTES = 1024;

// `from` may overlap either buffer of getsep.
static void set_part(char (&buffer)[PART_BYTES], const char *from, std::size_t length)
{
    length = std::min(length, PART_BYTES - 1);
    std::memmove(buffer, from, length);
    buffer[length] = '\0';
}

int getsep(const char *text, const char *separator, char **leftout, char **rightout)
{
    static char left[PART_BYTES];
    static char right[PART_BYTES];
    *leftout = left;
    *rightout = right;
    if (text == nullptr || *text == '\0') {
        left[0] = right[0] = '\0';
        return -1;
    }
    const std::size_t length = std::strlen(text);
    const char *found = separator == nullptr ? nullptr : std::strstr(text, separator);
    const char *after = found == nullptr ? text + length : found + 1;
    const std::size_t after_length = static_cast<std::size_t>(text + length - after);
    // The left part first: even if `text` lies in one of the buffers, this leaves what follows the
    // separator intact.
    set_part(left, text, found == nullptr ? length : static_cast<std::size_t>(found - text));
    set_part(right, after, after_length);
    return 0;
}
