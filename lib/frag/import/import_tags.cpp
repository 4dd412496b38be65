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
    if (cur_->value == nullptr && cur_->child == nullptr)
        set_frag_value(cur_, "", 0);
    cur_ = cur_->parent;
    parent_ = cur_ != nullptr ? cur_->parent : nullptr;
    if (cur_ != nullptr) // more text of the enclosing element is appended to what it had
        vlen_ = static_cast<std::size_t>(cur_->vlen);
}

// An end tag closes cur if it has its name; any other is ignored.
void importer::machine::close_element(std::string_view tag)
{
    if (cur_ != nullptr && is_named_in_tag(cur_, tag)) {
        leave_element();
    } else {
        tell(&import_observer::ignored, line_here());
        if (cur_ != nullptr)
            vlen_ = static_cast<std::size_t>(cur_->vlen);
    }
    name_line_ = 0;
    ++pos_;
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
    cur_ = new_element(tag);
    link_past_trie(cur_);
    vlen_ = 0;
    set_origin(cur_, make_origin(line_here(), frag_notation::TAGS));
    clear_name();
    if (at_pos() != '>') {
        // Attributes are children of a node `attrs`.
        parent_ = fsetp(&cur_->child, "attrs", nullptr, cur_);
        cur_ = nullptr;
        now_ = &machine::attr_gap;
        return;
    }
    ++pos_;
    name_line_ = 0;
    if (is_closed)
        leave_empty_element(parent_);
    else
        now_ = &machine::text_skip;
}

// After an empty element the reader is in the enclosing one, null at the top: its end tag closes
// that one, and the next start tag makes a sibling.
void importer::machine::leave_empty_element(frag *enclosing)
{
    parent_ = enclosing;
    cur_ = enclosing;
    vlen_ = cur_ != nullptr ? static_cast<std::size_t>(cur_->vlen) : 0;
    name_line_ = 0;
    now_ = &machine::line_start;
}

// Takes cur's end tag by its exact name; `start` is the position after the slash.
bool importer::machine::take_plain_end(std::size_t start)
{
    static constexpr byte_set STOPS(" \t\r\n>");
    if (cur_ == nullptr)
        return false;
    std::size_t end = start;
    for (const char *stored = cur_->name; *stored != '\0'; ++stored, ++end)
        if (end >= piece_.size() || piece_[end] != *stored || STOPS.has(*stored))
            return false;
    if (end >= piece_.size() || piece_[end] != '>' || end - start >= TAG_NAME_SIZE)
        return false;
    leave_element();
    pass_plain(end + 1);
    return true;
}

// Fast path for a tag: a start tag without attributes, or the end tag of cur.
bool importer::machine::take_plain_tag()
{
    static constexpr byte_set STOPS("\0 \t\r\n>/_!"sv);
    const std::size_t start = pos_ + 1;
    if (start >= piece_.size())
        return false;
    if (piece_[start] == '/')
        return take_plain_end(start + 1);
    const std::size_t end = STOPS.find_in(piece_.substr(0, start + TAG_NAME_SIZE), start);
    if (end == start || end >= piece_.size() || piece_[end] != '>')
        return false;
    parent_ = cur_;
    cur_ = newsymfrag(piece_.substr(start, end - start));
    link_past_trie(cur_);
    vlen_ = 0;
    set_origin(cur_, make_origin(line_here(), frag_notation::TAGS));
    pass_plain(end + 1);
    return true;
}

// Fast path for white space and text up to the next tag. False if the tag is not in the piece.
bool importer::machine::take_plain_text()
{
    static constexpr byte_set STOPS("<\n");
    while (!at_end() && WHITE_SPACE.has(at_pos()))
        pass_plain(pos_ + 1);
    if (at_end())
        return false;
    if (at_pos() == '<')
        return true;
    const std::size_t end = STOPS.find_in(piece_, pos_);
    if (cur_ == nullptr || skip_ || end >= piece_.size() || piece_[end] != '<')
        return false;
    if (vlen_ == 0)
        value_origin_ = make_origin(line_here(), frag_notation::TAGS);
    const bool is_counted = counted_ == pos_;
    store(end);
    counted_ = is_counted ? end : counted_;
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
        if (cur_ == nullptr)
            tell(&import_observer::ignored, line_here());
        else if (vlen_ == 0)
            value_origin_ = make_origin(line_here(), frag_notation::TAGS);
    }
    return go(&machine::text);
}

bool importer::machine::text()
{
    store(std::min(piece_.find('<', pos_), piece_.size()));
    if (at_end())
        return false;
    parent_ = cur_;
    begin_name();
    ++pos_;
    clear_name();
    return go(&machine::tag_name);
}

bool importer::machine::attr_gap()
{
    if (name_length_ == 0 && !skip_white())
        return false;
    if (at_pos() != '>')
        return go(&machine::attr_name);
    cur_ = parent_->parent;
    if (cur_ != nullptr) {
        parent_ = cur_->parent;
        vlen_ = static_cast<std::size_t>(cur_->vlen);
    }
    skip_ = false;
    ++pos_;
    name_line_ = 0;
    return go(&machine::text_skip);
}

bool importer::machine::attr_name()
{
    static constexpr byte_set STOPS("\0=>"sv);
    if (!collect_name(STOPS, TAG_NAME_SIZE))
        return false;
    const std::string_view collected(name_.data(), name_length_);
    const frag *element = parent_->parent;
    // The end of a declaration, `?>`, is no attribute; nor is that of an empty element, `/>`.
    if (at_pos() == '>' && collected == "?" && element != nullptr && element->name[0] == '?')
        return go(&machine::attr_gap);
    if (at_pos() == '>' && collected == "/") {
        ++pos_;
        skip_ = false;
        leave_empty_element(element != nullptr ? element->parent : nullptr);
        return !at_end();
    }
    cur_ = ffind(&parent_->child, name_.data());
    if (cur_ == nullptr) {
        cur_ = newsymfrag(collected);
        link_past_trie(cur_);
    }
    if (!STOPS.has(at_pos()))
        tell(&import_observer::name_cut, line_here(), collected);
    cur_->flags = 0;
    begin_value(frag_notation::TAGS);
    // A '>' ends both the name and the tag, so it is left for the next state.
    if (at_pos() != '>')
        ++pos_;
    return go(&machine::attr_quote);
}

bool importer::machine::attr_quote()
{
    if (!skip_white())
        return false;
    if (at_pos() == '>')
        return go(&machine::attr_gap);
    const bool is_quoted = at_pos() == '"' || at_pos() == '\'';
    quote_ = is_quoted ? piece_[pos_++] : '\0';
    return go(&machine::attr_value);
}

bool importer::machine::attr_value()
{
    static constexpr byte_set BARE_STOPS(" \t\r\n>");
    if (quote_ != '\0')
        store(std::min(piece_.find(quote_, pos_), piece_.size()));
    else
        store_until(BARE_STOPS);
    if (at_end())
        return false;
    if (quote_ != '\0')
        ++pos_;
    end_value();
    clear_name();
    return go(&machine::attr_gap);
}

bool importer::machine::comment()
{
    return go(piece_[pos_++] == '-' ? &machine::comment_1 : &machine::comment);
}

bool importer::machine::comment_1()
{
    return go(piece_[pos_++] == '-' ? &machine::comment_2 : &machine::comment);
}

bool importer::machine::comment_2()
{
    const char byte = piece_[pos_++];
    if (byte == '-') // `--->` ends a comment, too
        return !at_end();
    if (byte != '>')
        return go(&machine::comment);
    name_line_ = 0;
    if (cur_ == nullptr)
        return go(&machine::line_start);
    vlen_ = static_cast<std::size_t>(cur_->vlen);
    return go(&machine::text_skip);
}

bool importer::machine::decl()
{
    pos_ = std::min(piece_.find('>', pos_), piece_.size());
    if (at_end())
        return false;
    ++pos_;
    name_line_ = 0;
    return go(&machine::line_start);
}
