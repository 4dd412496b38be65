// The fields of records in the log of a conversion: which lines of the input each value comes from.
#include "flatctl/account/conversion_log.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/origin.h"
#include "lib/ulib/address.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstdlib>

using namespace flatlink;

static constexpr std::size_t FEW_FIELDS = 64; // a link has fewer

// All records of a family name their fields in one order.
std::uint32_t conversion_log::field_number(std::string_view field)
{
    if (!fields_.empty()) {
        const std::uint32_t likely = fields_[last_field_].next;
        if (*fields_[likely].key == field)
            return last_field_ = likely;
    }
    const auto [place, is_new] =
        field_numbers_.try_emplace(std::string(field), static_cast<std::uint32_t>(fields_.size()));
    if (is_new)
        fields_.push_back({&place->first});
    fields_[last_field_].next = place->second;
    return last_field_ = place->second;
}

// Fields of one record come one after another, and mostly as many as those of the record before.
record_note &conversion_log::record_of(const void *record)
{
    if (last_note_ != nullptr && last_note_->record == record)
        return *last_note_;
    const auto [place, is_new] = notes_.try_emplace(record);
    if (is_new) {
        record_note &made = records_.emplace_back(record, &field_room_);
        if (last_note_ != nullptr)
            made.fields.reserve(std::min(last_note_->fields.size(), FEW_FIELDS));
        place->second = &made;
    }
    last_note_ = place->second;
    return *last_note_;
}

const field_note *conversion_log::note_in(const record_note *record, std::uint32_t field)
{
    if (record == nullptr)
        return nullptr;
    if (record->places != nullptr) {
        const auto place = record->places->find(field);
        return place == record->places->end() ? nullptr : &record->fields[place->second];
    }
    const auto found = std::ranges::find(record->fields, field, &field_note::field);
    return found == record->fields.end() ? nullptr : &*found;
}

field_note &conversion_log::field_of(const void *record, std::uint32_t field)
{
    record_note &note = record_of(record);
    if (const field_note *known = note_in(&note, field))
        return note.fields[static_cast<std::size_t>(known - note.fields.data())];
    note.fields.emplace_back(field);
    if (note.places == nullptr && note.fields.size() > FEW_FIELDS) {
        note.places = std::make_unique<std::unordered_map<std::uint32_t, std::size_t>>();
        for (std::size_t i = 0; i < note.fields.size(); ++i)
            note.places->emplace(note.fields[i].field, i);
    } else if (note.places != nullptr) {
        note.places->emplace(field, note.fields.size() - 1);
    }
    return note.fields.back();
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
            origins_.push_back(side.only_led_there || side.has_equal_parts() ? -std::abs(line)
                                                                             : line);
    };
    switch (source_) {
    case value_source::READ: {
        const bool is_first_part = second_part_ != 0 && field.starts_with(entry_of_parts_) &&
                                   (entry_of_parts_ == "addr_" || field.ends_with("_addr"));
        const auto end = is_first_part ? window_.begin() + static_cast<std::ptrdiff_t>(second_part_)
                                       : window_.end();
        origins_.insert(origins_.end(), window_.begin(), end);
        is_window_used_ = true;
        break;
    }
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
    if (may_be_name && can_be_no_name(value) && parse_address(value) == NOT_AN_ADDRESS &&
        value != "255.255.255.255")
        unreadable(value_kind::ADDRESS, value);
    if (awaits_record_) {
        awaits_record_ = false;
        links_.back().record = &record_of(record);
        last_note_->link = static_cast<std::uint32_t>(links_.size()) - 1;
    }
}

void conversion_log::moved(const void *from, std::string_view from_field, const void *to,
                           std::string_view to_field)
{
    if (from != to)
        record_of(from).has_lent = true;
    const field_note *source = note_of(from, from_field);
    if (source == nullptr)
        return;
    const field_note copy = *source;
    field_note &target = field_of(to, field_number(to_field));
    target.source = copy.source;
    target.origins = copy.origins;
}

void conversion_log::written(const void *record, std::string_view field, std::string_view value)
{
    if (written_.empty() || written_.back().record != record)
        written_.push_back(
            {record, note_of(record), static_cast<std::uint32_t>(output_.size()), 0});
    ++written_.back().count;
    output_.push_back({field_number(field), hash_of(value)});
}

void conversion_log::dropped(left_out why, const void *record, const void *kept,
                             std::string_view field)
{
    if (!field.empty()) { // one entry
        field_note &entry = field_of(record, field_number(field));
        if (entry.origins.count > 0) // told at the line that names its object
            add_remark(remark::LEFT_OUT, std::abs(lines_of(entry.origins).front()));
        entry.origins = {};
        return;
    }
    record_note &note = record_of(record);
    note.is_dropped = true;
    note.why = why;
    note.kept = kept;
}
