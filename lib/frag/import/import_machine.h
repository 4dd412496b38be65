// The state machine of the import. A state can stop at any byte and continue with the next piece.
// Private to the import.
#pragma once

#include "lib/frag/import/import.h"
#include "lib/frag/import/observer.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/origin.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace flatlink
{

// Makes one call of the observer, if there is one.
template <typename... types, typename... values>
void tell(void (*import_observer::*call)(void *, types...), values... told)
{
    if (import_watch != nullptr && import_watch->*call != nullptr)
        (import_watch->*call)(import_watch->context, told...);
}

} // namespace flatlink

// A set of delimiter bytes, with one table look-up per byte.
class byte_set
{
  public:
    constexpr explicit byte_set(std::string_view bytes)
    {
        for (const char byte : bytes)
            has_[static_cast<unsigned char>(byte)] = true;
    }
    constexpr bool has(char byte) const { return has_[static_cast<unsigned char>(byte)]; }

    // Position of the first byte of the set at or after `from`; the size if there is none.
    std::size_t find_in(std::string_view text, std::size_t from) const
    {
        while (from < text.size() && !has(text[from]))
            ++from;
        return from;
    }

  private:
    std::array<bool, 256> has_{};
};

inline constexpr byte_set WHITE_SPACE(" \t\r\n");

struct flatlink::importer::machine {
    machine(frag **tree_head, int keep_values);

    // Consumes all of `bytes`.
    void feed(std::string_view bytes);

    // Tells the observer of a key, tag or comment that the input leaves unfinished.
    void end_input() const;

    frag **const head; // the tree; stays the caller's

  private:
    const steady_lists steady_;

    // A state: consumes bytes at `pos_`; returns false if it needs more.
    using state = bool (machine::*)();

    bool line_start();
    bool line_skip();
    bool flat_name();
    bool flat_value();
    bool sect_name();
    bool sect_value();
    bool sect_eol();
    bool sect_indent();
    bool tag_name();
    bool text_skip();
    bool text();
    bool attr_gap();
    bool attr_name();
    bool attr_quote();
    bool attr_value();
    bool comment();
    bool comment_1();
    bool comment_2();
    bool decl();

    bool go(state next);
    char at_pos() const { return piece_[pos_]; }
    bool at_end() const { return pos_ == piece_.size(); }

    bool skip_white();
    bool collect_name(const byte_set &stops, std::size_t limit);
    bool take_name(const byte_set &stops, std::size_t limit, std::string_view &taken);
    void clear_name();
    std::int32_t line_here();
    void next_line() { line_number_ += line_number_ < LAST_ORIGIN_LINE ? 1 : 0; }
    void begin_name();
    void end_name();
    void begin_value(frag_notation form);
    void begin_bytes();
    std::int32_t value_line() const { return value_origin_ & LAST_ORIGIN_LINE; }
    void store_until(const byte_set &stops);
    void store(std::size_t end);
    void ensure_value() const;
    void end_value();
    frag **siblings() const;
    void link_new(frag *node);
    void link_past_trie(frag *node);
    frag *find_named(std::string_view part) const;
    void resolve_flat_part(std::string_view part);
    void close_element(std::string_view tag);
    void leave_element();
    void open_element(std::string_view tag);
    void leave_empty_element(frag *enclosing);
    bool take_flat_line();
    bool take_plain_text();
    bool take_plain_tag();
    bool take_plain_end(std::size_t start);
    void pass_plain(std::size_t end);
    std::string_view plain_line();
    bool take_section_line();
    bool take_section_header(std::string_view line);
    bool take_section_key(std::string_view line);
    void resolve_section_part(std::string_view part);
    std::size_t follow_last_line(std::string_view line);
    std::size_t resolve_plain_key(std::string_view line, std::size_t part);

    const int keep_; // non-zero to protect existing values
    state now_ = &machine::line_start;

    std::string_view piece_; // the bytes at hand
    std::size_t pos_ = 0;

    std::array<char, NAME_PART_SIZE + 1> name_{}; // always NUL-terminated
    std::size_t name_length_ = 0;
    bool is_name_cut_ = false; // some of its bytes were dropped
    char quote_ = 0;           // the byte that ends an attribute's value; 0: blank or '>' does

    frag *cur_ = nullptr;    // node being filled
    frag *parent_ = nullptr; // node under which names are resolved; null: the top
    std::size_t vlen_ = 0;   // bytes stored of cur's value
    bool skip_ = false;      // drop value bytes

    // Lines are counted lazily: when a value begins, from the last such place on.
    std::int32_t line_number_ = 1;   // of the byte at `counted_`
    std::size_t counted_ = 0;        // in the piece
    std::int32_t name_line_ = 0;     // where an unfinished key, tag or comment began; for observers
    std::uint32_t value_origin_ = 0; // of the value being read

    // Some child was linked below a parent with a trie but not entered in it. Before that trie and
    // list agree, and the trie need not be consulted.
    bool has_unentered_ = false;

    // The key of the last flat line with the nodes of all its parts but the last, each with the
    // offset of the '_' after it: the next line often begins the same way.
    struct path_part {
        frag *node;
        std::size_t end;
    };
    std::string last_key_;
    std::vector<path_part> last_path_;
};
