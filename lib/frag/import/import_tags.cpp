// The states of the tag notation.
#include "lib/frag/import/import_machine.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"

#include <algorithm>

using namespace flatlink;

using namespace std::string_view_literals;

bool importer::machine::tag_name()
{
    static constexpr byte_set STOPS("\0 \t>"sv);
    std::string_view tag;
    if (!take_name(STOPS, TAG_NAME_SIZE, tag))
        return false;
    end_name();
    if (!STOPS.has(at_pos()))
        tell(&import_observer::name_cut, line_here(), tag);
    if (tag.starts_with("!--"))
        return go(&machine::comment);
    if (tag.starts_with('!'))
        return go(&machine::decl);
    if (tag.starts_with('/')) {
        close_element(tag.substr(1));
        return go(&machine::text_skip);
    }
    open_element(tag);
    return !at_end();
}

static bool is_named_in_tag(const frag *node, std::string_view tag)
{
    return node->name == tag || fragcmp(node->name, std::string(tag).c_str()) == 0;
}

// Called after the end tag of cur.
void importer::machine::leave_element()
{
    if (cur->value == nullptr && cur->child == nullptr)
        set_frag_value(cur, "", 0);
    cur = cur->parent;
    parent = cur != nullptr ? cur->parent : nullptr;
    if (cur != nullptr)
        vlen = static_cast<std::size_t>(cur->vlen);
}

// An end tag closes cur if it has its name; any other is ignored.
void importer::machine::close_element(std::string_view tag)
{
    if (cur != nullptr && is_named_in_tag(cur, tag)) {
        leave_element();
    } else {
        tell(&import_observer::ignored, line_here());
        if (cur != nullptr)
            vlen = static_cast<std::size_t>(cur->vlen);
    }
    name_line = 0;
    ++pos;
}

static frag *new_element(std::string_view tag)
{
    if (tag.ends_with('/'))
        tag.remove_suffix(1);
    if (tag.find('_') == std::string_view::npos)
        return newsymfrag(tag);
    std::string stored;
    for (const char c : tag)
        c == '_' ? stored += "%5F" : stored += c;
    return newsymfrag(stored);
}

// A start tag always makes a new node, even if a sibling has the same name.
void importer::machine::open_element(std::string_view tag)
{
    const bool is_closed = tag.ends_with('/');
    cur = new_element(tag);
    link_past_trie(cur);
    vlen = 0;
    set_origin(cur, make_origin(line_here(), frag_notation::TAGS));
    clear_name();
    if (at_pos() != '>') {
        // Attributes are children of a node `attrs`.
        parent = fsetp(&cur->child, "attrs", nullptr, cur);
        cur = nullptr;
        now = &machine::attr_gap;
        return;
    }
    ++pos;
    name_line = 0;
    if (is_closed)
        leave_empty_element(parent);
    else
        now = &machine::text_skip;
}

// After an empty element the reader is in the enclosing one, null at the top: its end tag closes
// that one, and the next start tag makes a sibling.
void importer::machine::leave_empty_element(frag *enclosing)
{
    parent = enclosing;
    cur = enclosing;
    vlen = cur != nullptr ? static_cast<std::size_t>(cur->vlen) : 0;
    name_line = 0;
    now = &machine::line_start;
}

// Takes cur's end tag by its exact name; `start` is the position after the slash.
bool importer::machine::take_plain_end(std::size_t start)
{
    static constexpr byte_set STOPS(" \t\r\n>");
    if (cur == nullptr)
        return false;
    std::size_t end = start;
    for (const char *stored = cur->name; *stored != '\0'; ++stored, ++end)
        if (end >= piece.size() || piece[end] != *stored || STOPS.has(*stored))
            return false;
    if (end >= piece.size() || piece[end] != '>' || end - start >= TAG_NAME_SIZE)
        return false;
    leave_element();
    pass_plain(end + 1);
    return true;
}

// Fast path for a tag: a start tag without attributes, or the end tag of cur.
bool importer::machine::take_plain_tag()
{
    static constexpr byte_set STOPS("\0 \t\r\n>/_!"sv);
    const std::size_t start = pos + 1;
    if (start >= piece.size())
        return false;
    if (piece[start] == '/')
        return take_plain_end(start + 1);
    const std::size_t end = STOPS.find_in(piece.substr(0, start + TAG_NAME_SIZE), start);
    if (end == start || end >= piece.size() || piece[end] != '>')
        return false;
    parent = cur;
    cur = newsymfrag(piece.substr(start, end - start));
    link_past_trie(cur);
    vlen = 0;
    set_origin(cur, make_origin(line_here(), frag_notation::TAGS));
    pass_plain(end + 1);
    return true;
}

// Fast path for white space and text up to the next tag. False if the tag is not in the piece.
bool importer::machine::take_plain_text()
{
    static constexpr byte_set STOPS("<\n");
    while (!at_end() && WHITE_SPACE.has(at_pos()))
        pass_plain(pos + 1);
    if (at_end())
        return false;
    if (at_pos() == '<')
        return true;
    const std::size_t end = STOPS.find_in(piece, pos);
    if (cur == nullptr || skip || end >= piece.size() || piece[end] != '<')
        return false;
    if (vlen == 0)
        value_origin = make_origin(line_here(), frag_notation::TAGS);
    const bool is_counted = counted == pos;
    store(end);
    counted = is_counted ? end : counted;
    return true;
}

bool importer::machine::text_skip()
{
    // Most of a file is plain tags and one-line texts; the states handle the rest.
    while (take_plain_text() && take_plain_tag()) {
    }
    if (!skip_white())
        return false;
    if (at_pos() != '<') {
        if (cur == nullptr)
            tell(&import_observer::ignored, line_here());
        else if (vlen == 0)
            value_origin = make_origin(line_here(), frag_notation::TAGS);
    }
    return go(&machine::text);
}

bool importer::machine::text()
{
    store(std::min(piece.find('<', pos), piece.size()));
    if (at_end())
        return false;
    parent = cur;
    begin_name();
    ++pos;
    clear_name();
    return go(&machine::tag_name);
}

bool importer::machine::attr_gap()
{
    if (name_length == 0 && !skip_white())
        return false;
    if (at_pos() != '>')
        return go(&machine::attr_name);
    cur = parent->parent;
    if (cur != nullptr) {
        parent = cur->parent;
        vlen = static_cast<std::size_t>(cur->vlen);
    }
    skip = false;
    ++pos;
    name_line = 0;
    return go(&machine::text_skip);
}

bool importer::machine::attr_name()
{
    static constexpr byte_set STOPS("\0=>"sv);
    if (!collect_name(STOPS, TAG_NAME_SIZE))
        return false;
    const std::string_view collected(name.data(), name_length);
    const frag *element = parent->parent;
    if (at_pos() == '>' && collected == "?" && element != nullptr && element->name[0] == '?')
        return go(&machine::attr_gap);
    if (at_pos() == '>' && collected == "/") {
        ++pos;
        skip = false;
        leave_empty_element(element != nullptr ? element->parent : nullptr);
        return !at_end();
    }
    cur = ffind(&parent->child, name.data());
    if (cur == nullptr) {
        cur = newsymfrag(collected);
        link_past_trie(cur);
    }
    if (!STOPS.has(at_pos()))
        tell(&import_observer::name_cut, line_here(), collected);
    cur->flags = 0;
    begin_value(frag_notation::TAGS);
    // A '>' ends both the name and the tag, so it is left for the next state.
    if (at_pos() != '>')
        ++pos;
    return go(&machine::attr_quote);
}

bool importer::machine::attr_quote()
{
    if (!skip_white())
        return false;
    if (at_pos() == '>')
        return go(&machine::attr_gap);
    const bool is_quoted = at_pos() == '"' || at_pos() == '\'';
    quote = is_quoted ? piece[pos++] : '\0';
    return go(&machine::attr_value);
}

bool importer::machine::attr_value()
{
    static constexpr byte_set BARE_STOPS(" \t\r\n>");
    if (quote != '\0')
        store(std::min(piece.find(quote, pos), piece.size()));
    else
        store_until(BARE_STOPS);
    if (at_end())
        return false;
    if (quote != '\0')
        ++pos;
    end_value();
    clear_name();
    return go(&machine::attr_gap);
}

bool importer::machine::comment()
{
    return go(piece[pos++] == '-' ? &machine::comment_1 : &machine::comment);
}

bool importer::machine::comment_1()
{
    return go(piece[pos++] == '-' ? &machine::comment_2 : &machine::comment);
}

bool importer::machine::comment_2()
{
    const char byte = piece[pos++];
    if (byte == '-')
        return !at_end();
    if (byte != '>')
        return go(&machine::comment);
    name_line = 0;
    if (cur == nullptr)
        return go(&machine::line_start);
    vlen = static_cast<std::size_t>(cur->vlen);
    return go(&machine::text_skip);
}

bool importer::machine::decl()
{
    pos = std::min(piece.find('>', pos), piece.size());
    if (at_end())
        return false;
    ++pos;
    name_line = 0;
    return go(&machine::line_start);
}
