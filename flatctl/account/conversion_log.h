// What a conversion does with each line of its input: collected by the observers of import, tree,
// derivation and records while the conversion itself runs. Ledger, explanations and findings read
// it; none of them decides anything again.
#pragma once

#include "flatlink/derive/derivation_watch.h"
#include "flatlink/records/record_watch.h"
#include "lib/frag/tree/tree_watch.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <memory_resource>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

struct frag;
struct import_observer;

// Marks of a line.
enum line_mark : std::uint16_t {
    LINE_HAS_VALUE = 1,    // it set a value, which may be lost since
    LINE_REPLACED = 2,     // a later line replaced it, or kept it out
    LINE_JOINED = 4,       // it has no '=' and became a part of the next key
    LINE_IN_TREE = 8,      // its value is in the tree of the current layout
    LINE_FOR_LAYOUT = 16,  // read while the tree was brought there
    LINE_READ = 32,        // read by the derivation
    LINE_MEMBER_TYPE = 64, // the type of a group's member, which its name tells, too
    LINE_ALL_ONES = 128,   // an address that means the same as none
};

struct input_line {
    const frag *node = nullptr; // of its value, while it is in the tree of the current layout
    std::uint32_t key = 0;      // otherwise, where its key begins in the texts of keys
    std::uint16_t marks = 0;
};

// Lines of the input that a value comes from. A negative one only led there: it names the object.
struct origin_list {
    std::uint32_t begin = 0;
    std::uint32_t count = 0;
};

struct field_note {
    explicit field_note(std::uint32_t number) : field(number) {}

    std::uint32_t field; // its key, by field_key
    value_source source = value_source::READ;
    bool is_plain = false;     // the record would hold the same without it
    bool prints_same = false;  // its line would be the same without it
    bool has_no_place = false; // no line of the output holds it
    origin_list origins;
};

constexpr std::uint32_t NO_NOTE = ~0U;

struct record_note {
    record_note(const void *noted, std::pmr::memory_resource *room) : record(noted), fields(room) {}

    const void *record;
    std::pmr::vector<field_note> fields;
    // Their places by number, once there are many: a pool has fields for each of its entries.
    std::unique_ptr<std::unordered_map<std::uint32_t, std::size_t>> places;
    const void *kept = nullptr; // the record that stands for it
    left_out why{};
    bool is_dropped = false;
    bool has_lent = false;        // a field of it stands in another record
    std::uint32_t link = NO_NOTE; // index of its link
};

struct step {
    derivation_step kind;
    const frag *first;
    const frag *second;
};

struct link_note {
    const record_note *record = nullptr;
    const frag *peer = nullptr;
    const frag *remote = nullptr, *local = nullptr; // objects, null for a temporary one
    std::uint32_t rule = NO_NOTE;
    std::vector<step> path; // from the rule inwards; only when asked for
};

struct rule_note {
    const frag *rule = nullptr;
    std::uint32_t first_link = 0;
    std::uint32_t link_count = 0;
    const char *missing_side = nullptr; // "src", "dst" or "dest"
    bool meets_peer = false;            // one side has a VPN object
};

// An object or a list that a look-up came to.
struct met_note {
    bool is_met = false;          // by the derivation
    bool is_met_for_link = false; // or for what is no link at all
    bool is_met_for_layout = false;
    std::int32_t led_by = 0; // the line that named it; 0 for none
    std::uint32_t rule = 0;  // number, from 1, of the last that met it
};

// A line of the output.
struct output_note {
    std::uint32_t field; // its key, by field_key
    std::uint32_t hash;  // of the value
};

// The lines of one record in the output, which come one after another.
struct written_record {
    const void *record;
    record_note *note;   // null where no line of the input sets a field of it
    std::uint32_t begin; // index of the first
    std::uint32_t count;
};

// What a derivation met that its database hardly means.
enum class remark : std::uint8_t {
    MISSING,    // text: a reference that names no object
    STANDS,     // text: the same, and it stands for itself
    SHORTENED,  // it names one only without its last part
    NO_WORD,    // text: of a table
    NO_ADDRESS, // text: ought to be one, or a mask
    NO_NUMBER,  // text: ought to be one, and in its range
    CUT,        // longer than what is kept of it
    ABSENT,     // text: the child that an object lacks
    UNFIT,      // text: an object whose type does not count there
    RECURSIVE,  // text: an object inside of itself
    DEEP,       // text: an object inside of too many others
    LEFT_OUT,   // an entry of a pool
};

struct remark_note {
    remark kind;
    std::int32_t line; // of the value, or the object's first; 0: the program's
    std::string text;

    auto operator<=>(const remark_note &) const = default;
};

// The lines that make the text of one side: "address:mask" or "first-last".
struct text_origins {
    std::vector<std::int32_t> first, second;
    bool has_first = false; // it was read, whatever its value
    // The lines lead to its text, and without one of them there may be the same: it is a peer's, or
    // that of an object inside of itself.
    bool only_led_there = false;
    std::uint32_t first_value = 0, second_value = 0; // hashes of those read last; 0: none

    bool has_odd_part = false; // such as 10.1, which is read as 10.1.0.0 is

    // Both parts are one text, or may mean the same, so either would do alone.
    bool has_equal_parts() const
    {
        return second_value != 0 && (first_value == second_value || has_odd_part);
    }

    void become_led_there();
};

struct text_hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const
    {
        return std::hash<std::string_view>()(text);
    }
};

class conversion_log
{
  public:
    // Watches the calls of this process from the import on, until it ends.
    //   keeps_paths  whether links keep the steps that led to them
    explicit conversion_log(bool keeps_paths);
    ~conversion_log();
    conversion_log(const conversion_log &) = delete;
    conversion_log &operator=(const conversion_log &) = delete;

    // For import_watch, when no other observer is needed; set by the constructor.
    static const import_observer import_calls;

    // After the import, after the passes that bring the tree to the current layout, and after the
    // records were written.
    void import_ended(frag *tree);
    void layout_reached(frag *tree);
    void records_written();

    // ---- what was noted

    std::span<const input_line> lines() const { return lines_; } // by number; [0] is no line
    std::string key_of_line(std::int32_t line) const;
    std::span<const std::int32_t> lines_of(const origin_list &origins) const;
    const std::vector<output_note> &output() const { return output_; } // by line
    const std::vector<written_record> &written() const { return written_; }
    const std::vector<rule_note> &rules() const { return rules_; }
    const std::vector<link_note> &links() const { return links_; }
    // Each once, with how often it was met.
    const std::map<remark_note, std::int32_t> &remarks() const { return remarks_; }
    // In the order in which a field was first set.
    const std::deque<record_note> &records() const { return records_; }
    std::deque<record_note> &records() { return records_; }
    std::string_view field_key(std::uint32_t field) const { return *fields_[field].key; }
    const record_note *note_of(const void *record) const; // null for none
    record_note *note_of(const void *record);
    static const field_note *note_in(const record_note *record, std::uint32_t field);
    const field_note *note_of(const void *record, std::string_view field) const;
    static std::uint32_t hash_of(std::string_view value);
    const std::vector<std::string> &usual_settings() const { return usual_settings_; }

    // How `node` was met, if it was.
    const met_note &met_note_of(const frag *node) const;

    // The nodes without a parent above all that was met; not to be looked into, they may be gone.
    const std::unordered_set<const frag *> &met_tops() const { return met_tops_; }

    // For the import's observers.
    void line_replaced(std::int32_t line, const frag *node);
    void lines_joined(std::int32_t first, std::int32_t last); // the last one has the '='

  private:
    void found(const frag *node);
    void note_met(const frag *node);
    void note_value_read(const frag *node, std::int32_t line);
    void choose_part(const frag *node);
    void choose_entry_part(const frag *node);
    void clear_window();
    void absent(const frag *obj, const char *key);
    void stopped(walk_stop why, const frag *obj);
    std::span<const std::int32_t> part_of_side(const text_origins &side,
                                               std::string_view field) const;
    void add_origin(std::int32_t line);
    void take_back(std::int32_t line);
    void missing(const char *key, bool stands);
    void entered(derivation_step kind, const frag *first, const frag *second);
    void left();
    void expands(value_source side, const frag *obj);
    void link(const frag *peer);
    void from(value_source source, const char *key);
    void stored(const void *record, std::string_view field, std::string_view value);
    void written(const void *record, std::string_view field, std::string_view value);
    void unreadable(value_kind wanted, std::string_view value);
    void unknown();
    void moved(const void *from, std::string_view from_field, const void *to,
               std::string_view to_field);
    void dropped(left_out why, const void *record, const void *kept, std::string_view field);

    void end_rule();
    input_line &line_at(std::int32_t line);
    template <typename visitor> void visit_values(frag *tree, visitor visit);
    origin_list origins_now(std::string_view field);
    void read_no_side();
    void add_remark(remark kind, std::int32_t line, std::string_view text = {});
    void add_remark(remark kind, const frag *obj, std::string_view text);
    std::uint32_t field_number(std::string_view field);
    record_note &record_of(const void *record);
    field_note &field_of(const void *record, std::uint32_t field);

    static const tree_observer tree_calls;
    static const derivation_observer derivation_calls;
    static const record_observer record_calls;

    struct known_field {
        const std::string *key;
        std::uint32_t next = 0; // number of the field that was named after it
    };

    enum class phase { IMPORT, LAYOUT, DERIVATION, ENDED };

    bool keeps_paths_;
    phase phase_ = phase::IMPORT;
    std::vector<std::string> usual_settings_; // by row, as they stand before any line
    std::vector<input_line> lines_;
    std::string keys_; // of lines whose nodes are gone, or may go
    std::vector<std::int32_t> origins_;
    std::unordered_map<std::string, std::uint32_t, text_hash, std::equal_to<>> field_numbers_;
    std::vector<known_field> fields_; // by number
    std::uint32_t last_field_ = 0;
    std::pmr::monotonic_buffer_resource field_room_;
    std::deque<record_note> records_;
    // What is looked up lies close together, apart from what it leads to.
    std::pmr::monotonic_buffer_resource lookup_room_;
    std::pmr::unordered_map<const void *, record_note *> notes_{&lookup_room_}; // by record
    std::vector<output_note> output_;
    std::vector<written_record> written_;
    std::vector<rule_note> rules_;
    std::vector<link_note> links_;
    std::map<remark_note, std::int32_t> remarks_;
    std::pmr::unordered_map<const frag *, met_note> met_{&lookup_room_};
    std::unordered_set<const frag *> met_tops_;

    // Of the moment.
    std::vector<std::int32_t> window_; // lines read since the value before
    bool is_window_used_ = false;
    bool window_only_leads_ = false;
    std::string_view entry_of_parts_; // how the first of two fields begins that take a part each
    std::size_t second_part_ = 0;     // where in the window its lines begin; 0: there is none
    text_origins sides_[2];           // of the remote and the local side
    text_origins *side_ = nullptr;    // the one that is expanded
    std::vector<std::int32_t> *reads_ = &window_;
    std::int32_t last_line_ = 0; // of the value that was read last
    std::string last_value_;     // that value, which the tree may have lost since
    std::vector<met_note *> met_by_rule_;
    std::vector<step> steps_;
    value_source source_ = value_source::READ;
    const char *source_key_ = nullptr;
    std::int32_t stored_line_ = 0;     // of the value that is being stored; 0: not known
    record_note *last_note_ = nullptr; // of the record that was named last
    bool awaits_record_ = false;       // the next one stored is that of the last link
};
