#include "lib/fwall/table/enargv.h"

#include "lib/fwall/table/table_watch.h"
#include "lib/ulib/text.h"

using namespace flatlink;

namespace
{

enum class scan { GOING, FULL, OVERRUN };

// The arguments so far, and the one that is being built.
struct arguments {
    char **argv = nullptr;
    int capacity = 0;
    int argc = 0;
    char *free = nullptr; // next byte to store
    char *end = nullptr;  // end of the buffer
    bool begun = false;   // an argument has begun at argv[argc]

    // For the watch: into the text, what is looked at now, and where the argument began.
    const char *at = nullptr;
    const char *begun_at = nullptr;

    void tell(table_fault what) const
    {
        if (table_watch != nullptr)
            table_watch->fault(what, at);
    }
};

} // namespace

static bool is_white(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

static bool is_printable(char c)
{
    return c >= ' ' && c <= '~';
}

static scan begin(arguments &found)
{
    if (found.begun)
        return scan::GOING;
    if (found.argc == found.capacity - 1) {
        found.tell(table_fault::TOO_MANY_ARGUMENTS);
        return scan::FULL;
    }
    found.begun_at = found.at;
    found.argv[found.argc] = found.free;
    found.begun = true;
    return scan::GOING;
}

static scan store(arguments &found, char c)
{
    if (c == '\0') { // would end the argument; dropped even after a backslash
        found.tell(table_fault::UNPRINTABLE);
        return scan::GOING;
    }
    if (const scan state = begin(found); state != scan::GOING)
        return state;
    if (found.free == found.end)
        return scan::OVERRUN;
    *found.free++ = c;
    return scan::GOING;
}

static scan finish(arguments &found)
{
    if (!found.begun)
        return scan::GOING;
    if (found.free == found.end)
        return scan::OVERRUN;
    *found.free++ = '\0';
    found.begun = false;
    ++found.argc;
    if (table_watch != nullptr)
        table_watch->word(found.begun_at, found.at);
    return scan::GOING;
}

// Takes the escape whose backslash stands at `pos`, and the character after it, which is stored
// unexamined. Moves `pos` past both.
static scan take_escape(arguments &found, std::string_view text, std::size_t &pos)
{
    if (++pos == text.size()) {
        found.tell(table_fault::OPEN_ESCAPE);
        return scan::GOING;
    }
    const char c = text[pos++];
    const scan state = store(found, c == 'n' ? '\n' : c == 't' ? '\t' : c);
    if (state != scan::GOING || pos == text.size())
        return state;
    return store(found, text[pos++]);
}

static scan take_arguments(arguments &found, std::string_view text)
{
    char quote = '\0'; // the character that opened the quote, NUL outside
    const char *quote_at = nullptr;
    scan state = scan::GOING;
    for (std::size_t pos = 0; pos < text.size() && state == scan::GOING;) {
        const char c = text[pos];
        found.at = &text[pos];
        if (c == '\\') {
            state = take_escape(found, text, pos);
            continue;
        }
        ++pos;
        if (!is_printable(c) && !is_white(c)) {
            found.tell(table_fault::UNPRINTABLE);
            continue;
        }
        if (quote != '\0' && c == quote)
            quote = '\0';
        else if (quote == '\0' && (c == '"' || c == '\'')) {
            quote = c;
            quote_at = found.at;
            state = begin(found);
        } else if (quote == '\0' && is_white(c))
            state = finish(found);
        else
            state = store(found, c);
    }
    if (state != scan::GOING)
        return state;
    if (quote != '\0') {
        found.at = quote_at;
        found.tell(table_fault::OPEN_QUOTE);
    }
    found.at = text.data() + text.size();
    return finish(found);
}

int enargv(std::string_view text, char **argv, int capacity, char *buffer, int size)
{
    if (capacity < 1)
        return -1;
    arguments found{.argv = argv, .capacity = capacity, .free = buffer, .end = buffer};
    for (; !text.empty() && (text[0] == ',' || text[0] == ' ' || !is_printable(text[0]));
         text.remove_prefix(1)) {
        found.at = text.data();
        if (!is_printable(text[0]) && !is_white(text[0]))
            found.tell(table_fault::UNPRINTABLE);
    }
    if (size > 0)
        found.end += size;
    const scan state = take_arguments(found, text);
    argv[found.argc] = nullptr;
    return state == scan::OVERRUN ? -1 : found.argc;
}

int enargv(const char *text, char **argv, int capacity, char *buffer, int size)
{
    return enargv(text_of(text), argv, capacity, buffer, size);
}
