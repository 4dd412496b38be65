// The states of the section notation.
#include "lib/frag/import/import_machine.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_text.h"

#include <algorithm>
#include <utility>

using namespace flatlink;

using namespace std::string_view_literals;

// Skips white space and returns the next line without its line break; an empty view if the line is
// not complete in the piece.
std::string_view importer::machine::plain_line()
{
    while (!at_end() && WHITE_SPACE.has(at_pos()))
        pass_plain(pos_ + 1);
    const std::size_t end = piece_.find('\n', pos_);
    return end == std::string_view::npos ? std::string_view() : piece_.substr(pos_, end - pos_);
}

// Moves to `end`, and updates the line count.
void importer::machine::pass_plain(std::size_t end)
{
    if (counted_ == pos_) {
        if (piece_[end - 1] == '\n')
            next_line();
        counted_ = end;
    }
    pos_ = end;
}

void importer::machine::resolve_section_part(std::string_view part)
{
    cur_ = find_named(part);
    if (cur_ == nullptr) {
        cur_ = newsymfrag(part);
        link_past_trie(cur_);
    }
}

// Takes a line that is nothing but a header; reuses the last one's path.
bool importer::machine::take_section_header(std::string_view line)
{
    static constexpr byte_set ENDS("\0]=\r"sv);
    static constexpr byte_set STOPS("\0\\]=_"sv);
    static constexpr byte_set NO_STARTS("[ \t\r\n");
    const std::size_t close = ENDS.find_in(line, 0);
    if (close + 1 != line.size() || line[close] != ']')
        return false;
    std::size_t part = std::max<std::size_t>(follow_last_line(line), 1);
    while (part <= close) {
        const std::size_t end = STOPS.find_in(line, part);
        if (end - part > NAME_PART_SIZE || NO_STARTS.has(line[part]))
            break;
        resolve_section_part(line.substr(part, end - part));
        last_path_.push_back({cur_, end});
        parent_ = cur_;
        part = end + 1;
    }
    last_key_.assign(line, 0, line.size());
    if (part <= close)
        return false;
    pass_plain(pos_ + line.size());
    return true;
}

// Takes a line of one plain name and its value.
bool importer::machine::take_section_key(std::string_view line)
{
    static constexpr byte_set STOPS("\0\\]=_"sv);
    static constexpr byte_set NOT_PLAIN("\\\r");
    const std::size_t end = STOPS.find_in(line, 0);
    if (end > NAME_PART_SIZE || end == line.size() || line[end] != '=' ||
        NOT_PLAIN.find_in(line, end) != line.size())
        return false;
    resolve_section_part(line.substr(0, end));
    begin_value(frag_notation::SECTION);
    const std::size_t line_end = pos_ + line.size();
    pos_ += end + 1;
    store(line_end);
    counted_ = ++pos_;
    next_line();
    end_value();
    return true;
}

// Fast path for a whole plain line of the section notation, like take_flat_line. Not used while a
// trie lacks nodes, because then a name that was found before may not be found again.
bool importer::machine::take_section_line()
{
    // Tried only at the start of a line: a line may hold any number of parts, and searching for its
    // end at each would take quadratic time.
    const bool is_start = at_pos() == '\n' || (pos_ > 0 && piece_[pos_ - 1] == '\n');
    if (!is_start || has_unentered_ || name_line_ != 0)
        return false;
    const std::string_view line = plain_line();
    if (line.empty())
        return false;
    return line[0] == '[' ? take_section_header(line) : take_section_key(line);
}

bool importer::machine::sect_name()
{
    if (name_length_ == 0)
        while (!at_end() && take_section_line()) {
        }
    // Each bracket begins a path at the top, so of several in a row the last counts.
    while (name_length_ == 0) {
        if (!skip_white())
            return false;
        begin_name();
        if (at_pos() != '[')
            break;
        ++pos_;
        parent_ = nullptr;
    }
    static constexpr byte_set STOPS("\0\\]=_"sv);
    std::string_view taken;
    if (!take_name(STOPS, NAME_PART_SIZE, taken))
        return false;
    is_name_cut_ = is_name_cut_ || !STOPS.has(at_pos());
    pos_ = STOPS.find_in(piece_, pos_); // drops the end of a name that is too long
    if (at_end()) {
        if (name_length_ == 0)
            name_length_ = taken.copy(name_.data(), taken.size());
        return false;
    }
    if (std::exchange(is_name_cut_, false))
        tell(&import_observer::name_cut, line_here(), taken);
    resolve_section_part(taken);
    clear_name();
    const char stop = piece_[pos_++];
    if (stop == '\\' || stop == ']' || stop == '_') {
        parent_ = cur_;
        if (stop == ']') {
            end_name();
            name_line_ = 0;
        }
        return !at_end();
    }
    begin_value(frag_notation::SECTION);
    return go(&machine::sect_value);
}

bool importer::machine::sect_value()
{
    static constexpr byte_set STOPS("\n\r\\");
    store_until(STOPS);
    if (at_end())
        return false;
    const char stop = piece_[pos_++];
    if (stop == '\r')
        return !at_end();
    if (stop == '\\')
        return go(&machine::sect_eol);
    end_value();
    return go(&machine::sect_name);
}

// After a backslash the rest of the line is ignored.
bool importer::machine::sect_eol()
{
    static constexpr byte_set STOPS("\n\0"sv);
    pos_ = STOPS.find_in(piece_, pos_);
    if (at_end())
        return false;
    ++pos_;
    return go(&machine::sect_indent);
}

bool importer::machine::sect_indent()
{
    while (!at_end() && is_ws(at_pos()))
        ++pos_;
    return !at_end() && go(&machine::sect_value);
}
