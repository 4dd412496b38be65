#include "lib/frag/import/import_machine.h"

#include "lib/frag/tree/cftrie.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/name_index.h"

#include <cstring>
#include <utility>

using namespace flatlink;

using namespace std::string_view_literals;

importer::machine::machine(frag **tree_head, int keep_values)
    : head(tree_head), keep_(keep_values), skip_(keep_values != 0)
{
}

void importer::machine::feed(std::string_view bytes)
{
    piece_ = bytes;
    pos_ = 0;
    while (!at_end() && (this->*now_)()) {
    }
    line_here();
    counted_ = 0;
}

void importer::machine::end_input() const
{
    if (name_line_ != 0)
        tell(&import_observer::unfinished, name_line_);
}

bool importer::machine::go(state next)
{
    now_ = next;
    return !at_end();
}

// ---- steps that several states share

// Skips white space; false at the end of the piece.
bool importer::machine::skip_white()
{
    while (!at_end() && WHITE_SPACE.has(at_pos()))
        ++pos_;
    return !at_end();
}

void importer::machine::clear_name()
{
    name_length_ = 0;
    name_[0] = '\0';
}

// Collects bytes up to one of `stops` or to `limit`. False at the end of the piece, even with a
// full name, because the byte after a name decides what it is.
bool importer::machine::collect_name(const byte_set &stops, std::size_t limit)
{
    while (!at_end() && name_length_ < limit && !stops.has(at_pos()))
        name_[name_length_++] = piece_[pos_++];
    name_[name_length_] = '\0';
    return !at_end();
}

// The same, with the name in `taken`. Does not copy a name that lies entirely in the piece, as most
// do.
bool importer::machine::take_name(const byte_set &stops, std::size_t limit, std::string_view &taken)
{
    const std::size_t end = stops.find_in(piece_.substr(0, pos_ + limit), pos_);
    if (name_length_ == 0 && end < piece_.size()) {
        taken = piece_.substr(pos_, end - pos_);
        pos_ = end;
        return true;
    }
    const bool is_whole = collect_name(stops, limit);
    taken = {name_.data(), name_length_};
    return is_whole;
}

// ---- where a value begins

// The line of the byte at `pos_`.
std::int32_t importer::machine::line_here()
{
    while (counted_ < pos_) {
        const void *found = std::memchr(piece_.data() + counted_, '\n', pos_ - counted_);
        if (found == nullptr) {
            counted_ = pos_;
            break;
        }
        counted_ = static_cast<std::size_t>(static_cast<const char *>(found) - piece_.data()) + 1;
        next_line();
    }
    return line_number_;
}

// Notes that a key, tag or comment begins here, unless it began in an earlier piece.
void importer::machine::begin_name()
{
    if (import_watch != nullptr && name_line_ == 0)
        name_line_ = line_here();
}

// Notes that the key, or the name of the tag, is complete.
void importer::machine::end_name()
{
    if (name_line_ != 0 && name_line_ != line_here())
        tell(&import_observer::lines_joined, name_line_, line_number_);
}

void importer::machine::begin_value(frag_notation form)
{
    if (form != frag_notation::TAGS) { // a tag goes on after an attribute's value
        end_name();
        name_line_ = 0;
    }
    vlen_ = 0;
    value_origin_ = make_origin(line_here(), form);
}

// Called at the first bytes of a value.
void importer::machine::begin_bytes()
{
    if (cur_->value != nullptr)
        tell(&import_observer::value_replaced, cur_, origin_line(cur_), value_line());
    set_origin(cur_, value_origin_);
}

// Moves over the bytes up to one of `stops` or the end of the piece, and appends them to the
// value of cur.
void importer::machine::store_until(const byte_set &stops)
{
    store(stops.find_in(piece_, pos_));
}

void importer::machine::store(std::size_t end)
{
    const std::size_t start = pos_;
    const std::size_t length = end - start;
    pos_ = end;
    if (length == 0 || skip_ || cur_ == nullptr)
        return;
    if (vlen_ == 0)
        begin_bytes();
    write_frag_value(cur_, vlen_, piece_.data() + start, length);
    vlen_ += length;
}

void importer::machine::ensure_value() const
{
    if (cur_->value != nullptr)
        return;
    set_frag_value(cur_, "", 0);
    set_origin(cur_, value_origin_);
}

void importer::machine::end_value()
{
    skip_ = keep_ != 0;
    if (vlen_ == 0 && cur_->value != nullptr)
        tell(&import_observer::value_kept, cur_, origin_line(cur_), value_line());
    ensure_value();
}

frag **importer::machine::siblings() const
{
    return parent_ != nullptr ? &parent_->child : head;
}

void importer::machine::link_new(frag *node)
{
    node->parent = parent_;
    if (parent_ != nullptr && parent_->names == nullptr)
        node->next = std::exchange(parent_->child, node); // push_front would look for an index
    else
        push_front(siblings(), node);
    skip_ = false;
}

// Links a node in a notation that does not use the trie.
void importer::machine::link_past_trie(frag *node)
{
    // Built late, the trie equals one that was kept from the start.
    has_unentered_ = (parent_ != nullptr && make_due_trie(parent_)) || has_unentered_;
    link_new(node);
}

// The node of a name, a single part, below parent or at the top.
frag *importer::machine::find_named(std::string_view part) const
{
    frag **list = siblings();
    if (*list == nullptr)
        return nullptr;
    return has_unentered_ ? fnewfind(list, std::string(part).c_str()) : find_in_list(list, part);
}

// ---- flat notation

bool importer::machine::line_start()
{
    if (parent_ == nullptr)
        while (take_flat_line()) {
        }
    clear_name();
    return go(&machine::line_skip);
}

bool importer::machine::line_skip()
{
    return skip_white() && go(&machine::flat_name);
}

// Takes the access prefixes off a name in the file's form and returns their flags. A name that
// merely looks as if it had one is replaced by the tree's form.
static std::uint32_t take_file_prefixes(std::string_view &part)
{
    // Most names don't begin with the first letter of a prefix.
    static constexpr byte_set FIRST_LETTERS("pPdDaAoO");
    if (part.empty() || !FIRST_LETTERS.has(part[0]))
        return 0;
    part = attr_remap(part);
    return take_access_prefixes(part, ANY_ACCESS);
}

// Makes cur the node of one part of a flat key, in the file's form.
void importer::machine::resolve_flat_part(std::string_view part)
{
    const std::uint32_t flags = take_file_prefixes(part);
    cur_ = find_named(part);
    if (cur_ == nullptr) {
        cur_ = newsymfrag(part);
        link_new(cur_);
        if (parent_ != nullptr)
            count_new_child(cur_);
    }
    cur_->flags |= flags;
}

bool importer::machine::flat_name()
{
    last_path_.clear(); // the states do not keep it up to date
    begin_name();
    if (name_length_ == 0 && at_pos() == '[') {
        ++pos_;
        parent_ = nullptr;
        return go(&machine::sect_name);
    }
    if (name_length_ == 0 && at_pos() == '<') {
        ++pos_;
        return go(&machine::tag_name);
    }
    static constexpr byte_set STOPS("\0_="sv);
    std::string_view taken;
    if (!take_name(STOPS, NAME_PART_SIZE, taken))
        return false;
    resolve_flat_part(taken);
    if (!STOPS.has(at_pos()))
        tell(&import_observer::name_cut, line_here(), taken);
    if (piece_[pos_++] == '_') {
        parent_ = cur_;
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
    if (piece_[pos_++] == '\r') // dropped, wherever it stands in a value
        return !at_end();
    parent_ = nullptr;
    end_value();
    trim_counted_end(cur_);
    return go(&machine::line_start);
}

// How far a line shares the last one's path: the offset after the last common node, which becomes
// parent.
std::size_t importer::machine::follow_last_line(std::string_view line)
{
    const std::size_t limit = std::min(line.size(), last_key_.size());
    std::size_t same = 0;
    while (same + 8 <= limit && std::memcmp(line.data() + same, last_key_.data() + same, 8) == 0)
        same += 8;
    while (same < limit && line[same] == last_key_[same])
        ++same;
    while (!last_path_.empty() && last_path_.back().end >= same)
        last_path_.pop_back();
    parent_ = last_path_.empty() ? nullptr : last_path_.back().node;
    return last_path_.empty() ? 0 : last_path_.back().end + 1;
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
        last_path_.push_back({cur_, end});
        parent_ = cur_;
        part = end + 1;
    }
}

// Fast path: reads a whole plain line at once, as most are, and reuses the last line's path. The
// result is that of the states. False for any other line, which is left to them.
bool importer::machine::take_flat_line()
{
    std::size_t start = pos_;
    while (start < piece_.size() && WHITE_SPACE.has(piece_[start]))
        ++start;
    // Checked before the search for the line's end: a line may hold any number of elements, and
    // searching for each would take quadratic time.
    if (start < piece_.size() && (piece_[start] == '<' || piece_[start] == '['))
        return false;
    const std::size_t line_end = piece_.find('\n', start);
    if (line_end == std::string_view::npos)
        return false;
    const std::string_view line = piece_.substr(start, line_end - start);
    const std::size_t key_end = resolve_plain_key(line, follow_last_line(line));
    if (key_end == std::string_view::npos || line.find('\r', key_end) != std::string_view::npos) {
        parent_ = nullptr;
        return false;
    }
    last_key_.assign(line, 0, key_end);
    pos_ = start; // where the value's line is counted
    begin_value(frag_notation::FLAT);
    pos_ = start + key_end + 1;
    store(line_end);
    counted_ = ++pos_;
    next_line();
    parent_ = nullptr;
    end_value();
    trim_counted_end(cur_);
    return true;
}
