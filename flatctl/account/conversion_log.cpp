#include "flatctl/account/conversion_log.h"

#include "flatctl/common/text_write.h"
#include "flatlink/driver.h"
#include "flatlink/records/settings.h"
#include "lib/frag/import/observer.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/origin.h"
#include "lib/ulib/address.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstdlib>
#include <functional>

using namespace flatlink;

// The calls of the observers have no other place: one log a process.
static conversion_log *current = nullptr;

// Remarks of a hostile input; the first are as good as all.
static constexpr std::size_t REMARKS_MAX = 100'000;

const import_observer conversion_log::import_calls = {
    .context = nullptr,
    .value_replaced = [](void *, const frag *node, std::int32_t old_line,
                         std::int32_t) { current->line_replaced(old_line, node); },
    .value_kept = [](void *, const frag *node, std::int32_t,
                     std::int32_t ignored_line) { current->line_replaced(ignored_line, node); },
    .lines_joined = [](void *, std::int32_t first, std::int32_t) { current->line_joined(first); },
};

const tree_observer conversion_log::tree_calls = {
    .context = nullptr,
    .found = [](void *, const frag *node) { current->found(node); },
    .missing = [](void *, const char *key, bool stands) { current->missing(key, stands); },
    .absent = [](void *, const frag *obj,
                 const char *key) { current->add_remark(remark::ABSENT, obj, key); },
    .unfit = [](void *,
                const frag *obj) { current->add_remark(remark::UNFIT, obj, fragkeyname(obj)); },
    .stopped =
        [](void *, walk_stop why, const frag *obj) {
            const remark kind = why == walk_stop::DEEP ? remark::DEEP : remark::RECURSIVE;
            current->add_remark(kind, obj, fragkeyname(obj));
        },
    .cut = [](void *, std::string_view) { current->add_remark(remark::CUT, current->last_line_); },
};

const derivation_observer conversion_log::derivation_calls = {
    .context = nullptr,
    .entered = [](void *, derivation_step kind, const frag *first,
                  const frag *second) { current->entered(kind, first, second); },
    .left = [](void *) { current->left(); },
    .no_side = [](void *, const frag *,
                  const char *key) { current->rules_.back().missing_side = key; },
    .shortened = [](void *, const frag *,
                    const char *) { current->add_remark(remark::SHORTENED, current->last_line_); },
    .expands = [](void *, value_source side, const frag *obj) { current->expands(side, obj); },
    .link = [](void *, const frag *peer) { current->link(peer); },
    .from = [](void *, value_source source, const char *key) { current->from(source, key); },
};

const record_observer conversion_log::record_calls = {
    .context = nullptr,
    .stored = [](void *, const void *record, std::string_view field,
                 std::string_view value) { current->stored(record, field, value); },
    .unreadable = [](void *, value_kind wanted,
                     std::string_view value) { current->unreadable(wanted, value); },
    .unknown = [](void *) { current->unknown(); },
    .cut = [](void *, std::string_view) { current->add_remark(remark::CUT, current->last_line_); },
    .written =
        [](void *, const void *record, std::string_view field, std::string_view value) {
            current->output_.push_back({record, current->field_number(field), hash_of(value)});
        },
    .moved = [](void *, const void *from, std::string_view from_field, const void *to,
                std::string_view to_field) { current->moved(from, from_field, to, to_field); },
    .dropped = [](void *, left_out why, const void *record, const void *kept,
                  std::string_view field) { current->dropped(why, record, kept, field); },
};

conversion_log::conversion_log(bool keeps_paths) : keeps_paths_(keeps_paths), lines_(1)
{
    current = this;
    import_watch = &import_calls;
    for (const vpn_setting &row : vpn_settings)
        usual_settings_.push_back(row.print != nullptr ? row.print() : "");
}

conversion_log::~conversion_log()
{
    import_watch = nullptr;
    tree_watch = nullptr;
    derivation_watch = nullptr;
    record_watch = nullptr;
    current = nullptr;
}

// ---- the tree before the derivation

input_line &conversion_log::line_at(std::int32_t line)
{
    const auto index = static_cast<std::size_t>(line);
    if (index >= lines_.size())
        lines_.resize(index + 1);
    return lines_[index];
}

void conversion_log::line_replaced(std::int32_t line, const frag *node)
{
    if (line == 0)
        return;
    input_line &replaced = line_at(line);
    replaced.key = static_cast<std::uint32_t>(keys_.size());
    replaced.marks |= LINE_HAS_VALUE | LINE_REPLACED;
    keys_.append(fragkeyname(node)).append(1, '\0');
}

void conversion_log::line_joined(std::int32_t line)
{
    line_at(line).marks |= LINE_JOINED;
}

// Calls visit(node, line) for each value below `tree` that a line of the input set.
template <typename visitor> void conversion_log::visit_values(frag *tree, visitor visit)
{
    std::vector<const frag *> open{tree};
    while (!open.empty()) {
        const frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            if (node->value != nullptr && origin_line(node) != 0)
                visit(node, line_at(origin_line(node)));
            if (node->child != nullptr)
                open.push_back(node->child);
        }
    }
}

// The passes of an earlier layout free nodes, so the keys are noted before.
void conversion_log::import_ended(frag *tree)
{
    import_watch = nullptr;
    if (!is_current_layout(tree))
        visit_values(tree, [this](const frag *node, input_line &line) {
            if ((line.marks & LINE_HAS_VALUE) == 0) {
                line.key = static_cast<std::uint32_t>(keys_.size());
                keys_.append(fragkeyname(node)).append(1, '\0');
            }
            line.marks |= LINE_HAS_VALUE;
        });
    phase_ = phase::LAYOUT;
    tree_watch = &tree_calls;
}

void conversion_log::layout_reached(frag *tree)
{
    visit_values(tree, [](const frag *node, input_line &line) {
        const bool has_key = (line.marks & LINE_HAS_VALUE) != 0; // that of the input
        if (!has_key)
            line.node = node;
        line.marks |= LINE_HAS_VALUE | LINE_IN_TREE;
    });
    phase_ = phase::DERIVATION;
    derivation_watch = &derivation_calls;
    record_watch = &record_calls;
}

// ---- reads

static bool is_member_type(const frag *node)
{
    if (std::string_view(node->name) != "type" || node->parent == nullptr ||
        !is_of_type(node->parent, "elem"))
        return false;
    return !same_word(node->value, "group") && !same_word(node->value, "emptygroup");
}

void conversion_log::found(const frag *node)
{
    const std::int32_t line = origin_line(node);
    if (phase_ == phase::LAYOUT) {
        if (line != 0)
            line_at(line).marks |= LINE_FOR_LAYOUT;
        if (node->child != nullptr)
            met_for_layout_.insert(node);
        return;
    }
    if (node->child != nullptr) {
        met_.try_emplace(node, steps_.empty());
        if (!steps_.empty())
            met_by_rule_.insert(node);
        if (last_line_ != 0 && last_value_.ends_with(node->name))
            led_by_[node] = last_line_;
    }
    if (node->value == nullptr)
        return;
    if (line != 0)
        note_value_read(node, line);
    last_line_ = line;
    last_value_ = node->value;
    stored_line_ = 0;
}

// Without a mask, and without the end of a range, an address has all its bits.
static bool has_all_ones(const frag *node)
{
    return std::string_view(node->value) == "255.255.255.255" ||
           (is_of_type(node->parent, "ipmask") && parse_address(node->value) == NOT_AN_ADDRESS);
}

// A network and a range name an object for each part of their text.
void conversion_log::choose_part(const frag *node)
{
    const std::string_view name = node->name;
    if (is_of_type(node->parent, "ipnet") || is_of_type(node->parent, "iprange")) {
        reads_ = name == "mask" || name == "end" ? &side_->second : &side_->first;
        side_->has_first = side_->has_first || reads_ == &side_->first;
    } else if (reads_ == &side_->first) {
        side_->has_first = true;
    }
}

// The line becomes an origin of what is made next, unless its value makes nothing.
void conversion_log::note_value_read(const frag *node, std::int32_t line)
{
    std::uint16_t &marks = line_at(line).marks;
    marks |= LINE_READ;
    if (is_member_type(node))
        marks |= LINE_MEMBER_TYPE;
    if (has_all_ones(node))
        marks |= LINE_ALL_ONES;
    if (reads_ == &window_ && is_window_used_) {
        window_.clear();
        is_window_used_ = false;
    }
    if (side_ != nullptr)
        choose_part(node);
    // In a pool, a peer stands for several entries, and each line leads to all of them.
    is_window_of_peer_ =
        is_window_of_peer_ || (steps_.empty() && is_of_type(node->parent, "vpnnetwork"));
    if (node->value[0] == '\0' || (marks & LINE_ALL_ONES) != 0)
        take_back(last_line_); // what led to it makes nothing, either
    else if ((marks & LINE_MEMBER_TYPE) == 0 && std::string_view(node->name) != "include-sgo")
        reads_->push_back(is_window_of_peer_ ? -line : line);
}

void conversion_log::take_back(std::int32_t line)
{
    if (!reads_->empty() && reads_->back() == line)
        reads_->pop_back();
}

void conversion_log::missing(const char *key, bool stands)
{
    add_remark(stands ? remark::STANDS : remark::MISSING, last_line_, key);
    if (!stands)
        take_back(last_line_);
}

void conversion_log::add_remark(remark kind, std::int32_t line, std::string_view text)
{
    if (phase_ == phase::DERIVATION && remarks_.size() < REMARKS_MAX)
        ++remarks_[{kind, line, std::string(text.substr(0, SHOWN_LINE_MAX))}];
}

// Of an object: its first line.
void conversion_log::add_remark(remark kind, const frag *obj, std::string_view text)
{
    while (obj != nullptr && origin_line(obj) == 0)
        obj = obj->child;
    add_remark(kind, obj != nullptr ? origin_line(obj) : last_line_, text);
}

// What is read next is a value that no record takes.
void conversion_log::unknown()
{
    line_at(last_line_).marks &= static_cast<std::uint16_t>(~LINE_READ);
    take_back(last_line_);
}

// ---- steps

void conversion_log::entered(derivation_step kind, const frag *first, const frag *second)
{
    read_no_side();
    if (kind == derivation_step::RULE)
        rules_.push_back({.rule = first, .first_link = static_cast<std::uint32_t>(links_.size())});
    if (kind == derivation_step::OFFER || kind == derivation_step::CHAINED)
        rules_.back().meets_peer = true;
    steps_.push_back({kind, first, second});
}

void conversion_log::left()
{
    read_no_side();
    steps_.pop_back();
    if (steps_.empty())
        end_rule();
}

void conversion_log::end_rule()
{
    rule_note &rule = rules_.back();
    rule.link_count = static_cast<std::uint32_t>(links_.size()) - rule.first_link;
    if (rule.link_count > 0 || rule.meets_peer)
        for (const frag *node : met_by_rule_)
            met_[node] = true;
    met_by_rule_.clear();
}

// An object made of a list of patterns has the origin of the list.
static bool is_temporary(const frag *node)
{
    while (node != nullptr && node->parent != nullptr)
        node = node->parent;
    return node != nullptr && std::string_view(node->name) == "temp";
}

void conversion_log::read_no_side()
{
    side_ = nullptr;
    is_window_of_peer_ = false;
    reads_ = &window_;
    window_.clear();
}

// One of several texts: each line leads to it, and perhaps to the others.
void text_origins::become_led_there()
{
    first.insert(first.end(), second.begin(), second.end());
    second.clear();
    for (std::int32_t &line : first)
        line = -std::abs(line);
}

void conversion_log::expands(value_source side, const frag *obj)
{
    read_no_side();
    if (side == value_source::READ || side == value_source::PROGRAM)
        return;
    side_ = &sides_[side == value_source::LOCAL_SIDE];
    if (is_temporary(obj)) {
        side_->become_led_there();
        reads_ = &side_->first;
        return;
    }
    *side_ = {};
    side_->is_of_peer = is_of_type(obj, "vpnnetwork");
    reads_ = &side_->first;
    const auto led = led_by_.find(obj);
    if (led != led_by_.end())
        side_->first.push_back(-led->second);
}

void conversion_log::link(const frag *peer)
{
    link_note made;
    made.peer = peer;
    made.rule = static_cast<std::uint32_t>(rules_.size() - 1);
    for (auto at = steps_.rbegin(); at != steps_.rend(); ++at) {
        if (at->kind != derivation_step::TRUSTED)
            continue;
        made.remote = is_temporary(at->first) ? nullptr : at->first;
        made.local = is_temporary(at->second) ? nullptr : at->second;
        break;
    }
    if (keeps_paths_)
        for (const step &at : steps_)
            made.path.push_back({at.kind, is_temporary(at.first) ? nullptr : at.first,
                                 is_temporary(at.second) ? nullptr : at.second});
    links_.push_back(std::move(made));
    awaits_record_ = true;
    read_no_side();
}

void conversion_log::from(value_source source, const char *key)
{
    source_ = source;
    source_key_ = key;
}

// ---- fields

std::uint32_t conversion_log::field_number(std::string_view field)
{
    const auto known = field_numbers_.find(field);
    if (known != field_numbers_.end())
        return known->second;
    const auto number = static_cast<std::uint32_t>(field_keys_.size());
    field_keys_.push_back(&field_numbers_.emplace(field, number).first->first);
    return number;
}

// Fields of one record come one after another.
record_note &conversion_log::record_of(const void *record)
{
    if (last_record_ != record || last_note_ == nullptr) {
        last_note_ = &records_[record];
        last_record_ = record;
    }
    return *last_note_;
}

field_note &conversion_log::field_of(const void *record, std::uint32_t field)
{
    std::vector<field_note> &fields = record_of(record).fields;
    const auto place = std::ranges::find(fields, field, &field_note::field);
    return place != fields.end() ? *place : fields.emplace_back(field);
}

// Where there is nothing before the mark in the text, what stands after it is the whole text.
std::span<const std::int32_t> conversion_log::part_of_side(const text_origins &side,
                                                           std::string_view field) const
{
    const bool is_second = field.ends_with("_delimiter") && side.has_first;
    return is_second || (!side.has_first && side.first.empty()) ? side.second : side.first;
}

// Drops repeated lines from `begin` on. A short list keeps its order, which is that of reading.
static void drop_repeated(std::vector<std::int32_t> &lines, std::size_t begin)
{
    constexpr std::size_t SHORT = 16;
    const auto first = lines.begin() + static_cast<std::ptrdiff_t>(begin);
    if (lines.size() - begin > SHORT) {
        std::sort(first, lines.end());
        lines.erase(std::unique(first, lines.end()), lines.end());
        return;
    }
    auto kept = first;
    for (auto at = first; at != lines.end(); ++at)
        if (std::find(first, kept, *at) == kept)
            *kept++ = *at;
    lines.erase(kept, lines.end());
}

origin_list conversion_log::origins_now(std::string_view field)
{
    const auto begin = static_cast<std::uint32_t>(origins_.size());
    const auto add_child_of = [this](const frag *node) {
        const frag *child = ffind(&const_cast<frag *>(node)->child, source_key_);
        if (child != nullptr && child->value != nullptr && origin_line(child) != 0)
            origins_.push_back(origin_line(child));
    };
    stored_line_ = 0;
    tree_watch = nullptr; // these look-ups are our own
    const auto add_side = [&](const text_origins &side) {
        for (const std::int32_t line : part_of_side(side, field))
            origins_.push_back(side.is_of_peer ? -std::abs(line) : line);
    };
    switch (source_) {
    case value_source::READ:
        origins_.insert(origins_.end(), window_.begin(), window_.end());
        is_window_used_ = true;
        break;
    case value_source::PROGRAM:
        break;
    case value_source::PEER:
        add_child_of(links_.back().peer);
        break;
    case value_source::REMOTE_SIDE:
        add_side(sides_[0]);
        break;
    case value_source::LOCAL_SIDE:
        add_side(sides_[1]);
        break;
    case value_source::RULE:
        add_child_of(rules_.back().rule);
        break;
    }
    tree_watch = &tree_calls;
    if (origins_.size() > begin)
        stored_line_ = std::abs(origins_.back()); // the last that was read
    drop_repeated(origins_, begin);
    return {begin, static_cast<std::uint32_t>(origins_.size()) - begin};
}

// Whether a text that is no address is no name of a host, either: its last label is a number, or it
// begins as an address does and holds what no name holds.
static bool can_be_no_name(std::string_view text)
{
    constexpr std::string_view DIGITS = "0123456789";
    constexpr std::string_view OF_NAMES = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ-_.";
    if (text.empty() || DIGITS.find(text[0]) == std::string_view::npos)
        return false;
    const std::string_view label = text.substr(text.rfind('.') + 1);
    return label.find_first_not_of(DIGITS) == std::string_view::npos ||
           text.find_first_not_of(std::string(DIGITS).append(OF_NAMES)) != std::string_view::npos;
}

void conversion_log::unreadable(value_kind wanted, std::string_view value)
{
    const remark kind = wanted == value_kind::WORD      ? remark::NO_WORD
                        : wanted == value_kind::ADDRESS ? remark::NO_ADDRESS
                                                        : remark::NO_NUMBER;
    add_remark(kind, stored_line_ != 0 ? stored_line_ : last_line_, value);
}

void conversion_log::stored(const void *record, std::string_view field, std::string_view value)
{
    field_note &note = field_of(record, field_number(field));
    note.source = source_;
    note.origins = origins_now(field);
    source_ = value_source::READ;
    const bool may_be_name = field == "gateway" || field.ends_with("_start_address");
    if (may_be_name && can_be_no_name(value) &&
        parse_address(std::string(value)) == NOT_AN_ADDRESS && value != "255.255.255.255")
        unreadable(value_kind::ADDRESS, value);
    if (awaits_record_) {
        awaits_record_ = false;
        links_.back().record = record;
        record_of(record).link = static_cast<std::uint32_t>(links_.size()) - 1;
    }
}

void conversion_log::moved(const void *from, std::string_view from_field, const void *to,
                           std::string_view to_field)
{
    if (from != to)
        records_[from].has_lent = true;
    const field_note *source = note_of(from, from_field);
    if (source == nullptr)
        return;
    const field_note copy = *source;
    field_note &target = field_of(to, field_number(to_field));
    target.source = copy.source;
    target.origins = copy.origins;
}

void conversion_log::dropped(left_out why, const void *record, const void *kept,
                             std::string_view field)
{
    record_note &note = records_[record];
    if (!field.empty()) { // one entry
        if (const field_note *entry = note_of(record, field))
            for (const std::int32_t line : lines_of(entry->origins))
                add_remark(remark::LEFT_OUT, std::abs(line));
        std::erase_if(note.fields,
                      [&](const field_note &one) { return field_key(one.field) == field; });
        return;
    }
    note.is_dropped = true;
    note.why = why;
    note.kept = kept;
}

void conversion_log::records_written()
{
    phase_ = phase::ENDED;
    record_watch = nullptr;
    tree_watch = nullptr;
    derivation_watch = nullptr;
}

// ---- what was noted

std::uint32_t conversion_log::hash_of(std::string_view value)
{
    return static_cast<std::uint32_t>(std::hash<std::string_view>()(value));
}

std::string conversion_log::key_of_line(std::int32_t line) const
{
    const auto index = static_cast<std::size_t>(line);
    if (index >= lines_.size() || (lines_[index].marks & LINE_HAS_VALUE) == 0)
        return {};
    const input_line &noted = lines_[index];
    return noted.node != nullptr ? fragkeyname(noted.node) : keys_.c_str() + noted.key;
}

std::span<const std::int32_t> conversion_log::lines_of(const origin_list &origins) const
{
    return std::span(origins_).subspan(origins.begin, origins.count);
}

const record_note *conversion_log::note_of(const void *record) const
{
    const auto found = records_.find(record);
    return found == records_.end() ? nullptr : &found->second;
}

const field_note *conversion_log::note_in(const record_note &record, std::uint32_t field)
{
    const auto found = std::ranges::find(record.fields, field, &field_note::field);
    return found == record.fields.end() ? nullptr : &*found;
}

const field_note *conversion_log::note_of(const void *record, std::uint32_t field) const
{
    const record_note *note = note_of(record);
    return note == nullptr ? nullptr : note_in(*note, field);
}

const field_note *conversion_log::note_of(const void *record, std::string_view field) const
{
    const auto known = field_numbers_.find(field);
    return known == field_numbers_.end() ? nullptr : note_of(record, known->second);
}

bool conversion_log::was_met_for_link(const frag *node) const
{
    const auto found = met_.find(node);
    return found != met_.end() && found->second;
}
