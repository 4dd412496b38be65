#include "lib/frag/tree/frag_name.h"

#include "lib/frag/tree/frag.h"
#include "lib/ulib/text.h"

#include <array>
#include <cstring>
#include <vector>

using namespace flatlink;

namespace
{

struct attr_map_row {
    std::string_view in_file;
    std::string_view in_tree;
};

constexpr attr_map_row attr_map_tab[] = {
    {"permit-route-char", "route-char-permit"},
    {"deny-route-char", "route-char-deny"},
    {"permit-relay", "relay-permit"},
    {"deny-relay", "relay-deny"},
    {"permit-spam", "spam-permit"},
    {"deny-spam", "spam-deny"},
};

int hex_digit(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return 0;
}

// Replaces each '%' and the two bytes after it by the byte that they encode, in place.
void decode_escapes(char *text)
{
    char *to = text;
    for (const char *from = text; *from != '\0'; ++to) {
        if (from[0] == '%' && from[1] != '\0' && from[2] != '\0') {
            *to = hexconvert(from + 1);
            from += 3;
        } else {
            *to = *from++;
        }
    }
    *to = '\0';
}

// The text of fragkeyname under construction.
struct key_text {
    std::array<char, FRAGKEYNAME_SIZE> bytes{};
    std::size_t length = 0;

    void append(std::string_view text)
    {
        std::memcpy(bytes.data() + length, text.data(), text.size());
        length += text.size();
    }
};

} // namespace

std::string_view flatlink::shown_prefix(const frag *node)
{
    for (const access_prefix &prefix : access_prefixes)
        if (node->flags & prefix.flag)
            return prefix.word;
    return ""; // not a null view: callers copy its bytes
}

// Removes one prefix from the front. Returns its bit, 0 for none.
static unsigned take_access_prefix(std::string_view &name, unsigned accepted)
{
    for (const access_prefix &prefix : access_prefixes) {
        if ((prefix.flag & accepted) == 0 || !begins_with_word(name, prefix.word))
            continue;
        name.remove_prefix(prefix.word.size());
        return prefix.flag;
    }
    return 0;
}

unsigned flatlink::take_access_prefixes(std::string_view &name, unsigned accepted)
{
    unsigned flags = 0;
    while (const unsigned flag = take_access_prefix(name, accepted))
        flags |= flag;
    return flags;
}

char hexconvert(const char *digits)
{
    return static_cast<char>(hex_digit(digits[0]) << 4 | hex_digit(digits[1]));
}

char *copy_fragname_len(const frag *node, char *buffer, int limit)
{
    buffer[0] = '\0';
    if (node == nullptr || node->name == nullptr)
        return buffer;
    std::string_view prefix = shown_prefix(node);
    std::string_view name = node->name;
    if (limit > 0) {
        const auto room = static_cast<std::size_t>(limit) - 1;
        prefix = prefix.substr(0, room);
        name = name.substr(0, room - prefix.size());
    }
    std::memcpy(buffer, prefix.data(), prefix.size());
    std::memcpy(buffer + prefix.size(), name.data(), name.size());
    buffer[prefix.size() + name.size()] = '\0';
    decode_escapes(buffer);
    return buffer;
}

char *copy_fragname(const frag *node, char *buffer)
{
    return copy_fragname_len(node, buffer, -1);
}

const char *fragname(const frag *node)
{
    static std::array<char, FRAGNAME_SIZE> text;
    return copy_fragname_len(node, text.data(), FRAGNAME_SIZE);
}

const char *fragkeyname(const frag *node)
{
    // A part must end below this; the rest of the text has room for separators only.
    constexpr std::size_t PARTS_END = 1020;
    static key_text text;

    static std::vector<const frag *> path; // reuses its memory: called for every link
    path.clear();
    for (; node != nullptr; node = node->parent)
        path.push_back(node);

    text.length = 0;
    for (std::size_t left = path.size(); left-- > 0;) {
        const std::string_view prefix = shown_prefix(path[left]);
        const std::string_view name = path[left]->name;
        if (text.length + prefix.size() + name.size() < PARTS_END) {
            text.append(prefix);
            text.append(name);
        }
        if (left > 0 && text.length + 1 < text.bytes.size())
            text.append("_");
    }
    text.bytes[text.length] = '\0';
    return text.bytes.data();
}

std::string_view attr_remap(std::string_view name)
{
    for (const attr_map_row &row : attr_map_tab)
        if (row.in_file == name)
            return row.in_tree;
    return name;
}

std::string_view attr_revmap(std::string_view name)
{
    for (const attr_map_row &row : attr_map_tab)
        if (row.in_tree == name)
            return row.in_file;
    return name;
}

int fragcmp(const char *stored, const char *plain)
{
    for (;; ++stored, ++plain) {
        if (*plain == '_' && std::strncmp(stored, "%5F", 3) == 0) {
            stored += 2;
            continue;
        }
        if (*stored != *plain || *stored == '\0')
            return static_cast<unsigned char>(*stored) - static_cast<unsigned char>(*plain);
    }
}
