#include "lib/frag/import/import_machine.h"

#include "lib/frag/tree/cftrie.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_text.h"
#include "lib/frag/tree/name_index.h"
#include "lib/ulib/text.h"

#include <cstring>
#include <utility>

using namespace flatlink;

using namespace std::string_view_literals;

importer::machine::machine(frag **tree_head, int keep_values)
    : head(tree_head), keep(keep_values), skip(keep_values != 0)
{
}

void importer::machine::feed(std::string_view bytes)
{
    piece = bytes;
    pos = 0;
    while (!at_end() && (this->*now)()) {
    }
    line_here();
    counted = 0;
}

void importer::machine::end_input() const
{
    if (name_line != 0)
        tell(&import_observer::unfinished, name_line);
}

bool importer::machine::go(state next)
{
    now = next;
    return !at_end();
}

// ---- steps that several states share

// Skips white space; false at the end of the piece.
bool importer::machine::skip_white()
{
    while (!at_end() && WHITE_SPACE.has(at_pos()))
        ++pos;
    return !at_end();
}

void importer::machine::clear_name()
{
    name_length = 0;
    name[0] = '\0';
}

// Collects bytes up to one of `stops` or to `limit`. False at the end of the piece, even with a
// full name, because the byte after a name decides what it is.
bool importer::machine::collect_name(const byte_set &stops, std::size_t limit)
{
    while (!at_end() && name_length < limit && !stops.has(at_pos()))
        name[name_length++] = piece[pos++];
    name[name_length] = '\0';
    return !at_end();
}

// The same, with the name in `taken`. Does not copy a name that lies entirely in the piece, as most
// do.
bool importer::machine::take_name(const byte_set &stops, std::size_t limit, std::string_view &taken)
{
    const std::size_t end = stops.find_in(piece.substr(0, pos + limit), pos);
    if (name_length == 0 && end < piece.size()) {
        taken = piece.substr(pos, end - pos);
        pos = end;
        return true;
    }
    const bool is_whole = collect_name(stops, limit);
    taken = {name.data(), name_length};
    return is_whole;
}

// ---- where a value begins

// The line of the byte at `pos`.
std::int32_t importer::machine::line_here()
{
    while (counted < pos) {
        const void *found = std::memchr(piece.data() + counted, '\n', pos - counted);
        if (found == nullptr) {
            counted = pos;
            break;
        }
        counted = static_cast<std::size_t>(static_cast<const char *>(found) - piece.data()) + 1;
        next_line();
    }
    return line_number;
}

// Notes that a key, tag or comment begins here, unless it began in an earlier piece.
void importer::machine::begin_name()
{
    if (import_watch != nullptr && name_line == 0)
        name_line = line_here();
}

// Notes that the key, or the name of the tag, is complete.
void importer::machine::end_name()
{
    if (name_line != 0 && name_line != line_here())
        tell(&import_observer::lines_joined, name_line, line_number);
}

void importer::machine::begin_value(frag_notation form)
{
    if (form != frag_notation::TAGS) { // a tag goes on after an attribute's value
        end_name();
        name_line = 0;
    }
    vlen = 0;
    value_origin = make_origin(line_here(), form);
}

// Called at the first bytes of a value.
void importer::machine::begin_bytes()
{
    if (cur->value != nullptr)
        tell(&import_observer::value_replaced, cur, origin_line(cur), value_line());
    set_origin(cur, value_origin);
}

// Moves over the bytes up to one of `stops` or the end of the piece, and appends them to the
// value of cur.
void importer::machine::store_until(const byte_set &stops)
{
    store(stops.find_in(piece, pos));
}

void importer::machine::store(std::size_t end)
{
    const std::size_t start = pos;
    const std::size_t length = end - start;
    pos = end;
    if (length == 0 || skip || cur == nullptr)
        return;
    if (vlen == 0)
        begin_bytes();
    write_frag_value(cur, vlen, piece.data() + start, length);
    vlen += length;
}

void importer::machine::ensure_value() const
{
    if (cur->value != nullptr)
        return;
    set_frag_value(cur, "", 0);
    set_origin(cur, value_origin);
}

void importer::machine::end_value()
{
    skip = keep != 0;
    if (vlen == 0 && cur->value != nullptr)
        tell(&import_observer::value_kept, cur, origin_line(cur), value_line());
    ensure_value();
}

frag **importer::machine::siblings() const
{
    return parent != nullptr ? &parent->child : head;
}

void importer::machine::link_new(frag *node)
{
    node->parent = parent;
    if (parent != nullptr && parent->names == nullptr)
        node->next = std::exchange(parent->child, node); // push_front would look for an index
    else
        push_front(siblings(), node);
    skip = false;
}

// Links a node in a notation that does not use the trie.
void importer::machine::link_past_trie(frag *node)
{
    // Built late, the trie equals one that was kept from the start.
    has_unentered = (parent != nullptr && make_due_trie(parent)) || has_unentered;
    link_new(node);
}

// The node of a name, a single part, below parent or at the top.
frag *importer::machine::find_named(std::string_view part) const
{
    frag **list = siblings();
    if (*list == nullptr)
        return nullptr;
    return has_unentered ? fnewfind(list, std::string(part).c_str()) : find_in_list(list, part);
}

// ---- flat notation

bool importer::machine::line_start()
{
    if (parent == nullptr)
        while (take_flat_line()) {
        }
    clear_name();
    return go(&machine::line_skip);
}

bool importer::machine::line_skip()
{
    return skip_white() && go(&machine::flat_name);
}

// Removes the access prefixes from a name in the file's form and returns their flags. A name that
// merely looks as if it had one is replaced by the tree's form.
static std::uint32_t take_access_prefixes(std::string_view &part)
{
    // Most names don't begin with the first letter of a prefix.
    constexpr std::string_view FIRST_LETTERS = "pPdDaAoO";
    if (part.empty() || FIRST_LETTERS.find(part[0]) == std::string_view::npos)
        return 0;
    part = attr_remap(part);
    std::uint32_t flags = 0;
    for (bool found = true; found;) {
        found = false;
        for (const access_prefix &prefix : ACCESS_PREFIXES) {
            if (begins_with_word(part, prefix.word)) {
                part.remove_prefix(prefix.word.size());
                flags |= prefix.flag;
                found = true;
            }
        }
    }
    return flags;
}

// Makes cur the node of one part of a flat key, in the file's form.
void importer::machine::resolve_flat_part(std::string_view part)
{
    const std::uint32_t flags = take_access_prefixes(part);
    cur = find_named(part);
    if (cur == nullptr) {
        cur = newsymfrag(part);
        link_new(cur);
        if (parent != nullptr)
            count_new_child(cur);
    }
    cur->flags |= flags;
}

bool importer::machine::flat_name()
{
    last_path.clear();
    begin_name();
    if (name_length == 0 && at_pos() == '[') {
        ++pos;
        parent = nullptr;
        return go(&machine::sect_name);
    }
    if (name_length == 0 && at_pos() == '<') {
        ++pos;
        return go(&machine::tag_name);
    }
    static constexpr byte_set STOPS("\0_="sv);
    std::string_view taken;
    if (!take_name(STOPS, NAME_PART_SIZE, taken))
        return false;
    resolve_flat_part(taken);
    if (!STOPS.has(at_pos()))
        tell(&import_observer::name_cut, line_here(), taken);
    if (piece[pos++] == '_') {
        parent = cur;
        return go(&machine::line_start);
    }
    begin_value(frag_notation::FLAT);
    return go(&machine::flat_value);
}

// Excludes white space at the end of a flat value from the counted length; the text keeps it.
static void trim_counted_end(frag *node)
{
    while (node->vlen > 0 && WHITE_SPACE.has(node->value[node->vlen - 1]))
        --node->vlen;
}

bool importer::machine::flat_value()
{
    static constexpr byte_set STOPS("\n\r");
    store_until(STOPS);
    if (at_end())
        return false;
    if (piece[pos++] == '\r')
        return !at_end();
    parent = nullptr;
    end_value();
    trim_counted_end(cur);
    return go(&machine::line_start);
}

// How far a line shares the last one's path: the offset after the last common node, which becomes
// parent.
std::size_t importer::machine::follow_last_line(std::string_view line)
{
    const std::size_t limit = std::min(line.size(), last_key.size());
    std::size_t same = 0;
    while (same + 8 <= limit && std::memcmp(line.data() + same, last_key.data() + same, 8) == 0)
        same += 8;
    while (same < limit && line[same] == last_key[same])
        ++same;
    while (!last_path.empty() && last_path.back().end >= same)
        last_path.pop_back();
    parent = last_path.empty() ? nullptr : last_path.back().node;
    return last_path.empty() ? 0 : last_path.back().end + 1;
}

// Finds or makes the nodes of a key, from `part` on, below parent: cur becomes the last. Returns
// the offset of the equals sign; npos for a key that needs the states. These read it again from its
// start, and find the nodes made here, which is all that was done.
std::size_t importer::machine::resolve_plain_key(std::string_view line, std::size_t part)
{
    static constexpr byte_set STOPS("\0_=\r"sv);
    static constexpr byte_set NO_STARTS("[< \t\r\n");
    for (;;) {
        const std::size_t end = STOPS.find_in(line, part);
        const bool is_plain = end < line.size() && end - part < NAME_PART_SIZE &&
                              !NO_STARTS.has(line[part]) && line[end] != '\0' && line[end] != '\r';
        if (!is_plain)
            return std::string_view::npos;
        resolve_flat_part(line.substr(part, end - part));
        if (line[end] == '=')
            return end;
        last_path.push_back({cur, end});
        parent = cur;
        part = end + 1;
    }
}

// Fast path: reads a whole plain line at once, as most are, and reuses the last line's path. The
// result is that of the states. False for any other line, which is left to them.
bool importer::machine::take_flat_line()
{
    std::size_t start = pos;
    while (start < piece.size() && WHITE_SPACE.has(piece[start]))
        ++start;
    // Checked before the search for the line's end: a line may hold any number of elements, and
    // searching for each would take quadratic time.
    if (start < piece.size() && (piece[start] == '<' || piece[start] == '['))
        return false;
    const std::size_t line_end = piece.find('\n', start);
    if (line_end == std::string_view::npos)
        return false;
    const std::string_view line = piece.substr(start, line_end - start);
    const std::size_t key_end = resolve_plain_key(line, follow_last_line(line));
    if (key_end == std::string_view::npos || line.find('\r', key_end) != std::string_view::npos) {
        parent = nullptr;
        return false;
    }
    last_key.assign(line, 0, key_end);
    pos = start;
    begin_value(frag_notation::FLAT);
    pos = start + key_end + 1;
    store(line_end);
    counted = ++pos;
    next_line();
    parent = nullptr;
    end_value();
    trim_counted_end(cur);
    return true;
}
