#include "flatctl/account/conversion_log.h"

#include "flatctl/common/text_write.h"
#include "flatlink/driver.h"
#include "flatlink/records/settings.h"
#include "lib/frag/import/observer.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/origin.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <utility>

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
    .lines_joined = [](void *, std::int32_t first,
                       std::int32_t last) { current->lines_joined(first, last); },
};

const tree_observer conversion_log::tree_calls = {
    .context = nullptr,
    .found = [](void *, const frag *node) { current->found(node); },
    .missing = [](void *, const char *key, bool stands) { current->missing(key, stands); },
    .absent = [](void *, const frag *obj, const char *key) { current->absent(obj, key); },
    .unfit = [](void *,
                const frag *obj) { current->add_remark(remark::UNFIT, obj, fragkeyname(obj)); },
    .stopped = [](void *, walk_stop why, const frag *obj) { current->stopped(why, obj); },
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
    .written = [](void *, const void *record, std::string_view field,
                  std::string_view value) { current->written(record, field, value); },
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

void conversion_log::lines_joined(std::int32_t first, std::int32_t last)
{
    for (std::int32_t line = first; line < last; ++line)
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

static const frag *top_of(const frag *node)
{
    while (node->parent != nullptr)
        node = node->parent;
    return node;
}

void conversion_log::note_met(const frag *node)
{
    met_note &note = met_[node];
    const bool is_for_layout = phase_ == phase::LAYOUT;
    if (!std::exchange(is_for_layout ? note.is_met_for_layout : note.is_met, true)) {
        met_tops_.insert(top_of(node)); // the passes may have moved the node since
        note.is_met_for_link = !is_for_layout && steps_.empty();
    }
    if (is_for_layout)
        return;
    const auto rule = static_cast<std::uint32_t>(rules_.size());
    if (!steps_.empty() && note.rule != rule) {
        note.rule = rule;
        met_by_rule_.push_back(&note);
    }
    if (last_line_ != 0 && last_value_.ends_with(node->name))
        note.led_by = last_line_;
}

void conversion_log::found(const frag *node)
{
    const std::int32_t line = origin_line(node);
    if (node->child != nullptr)
        note_met(node);
    if (phase_ == phase::LAYOUT) {
        if (line != 0)
            line_at(line).marks |= LINE_FOR_LAYOUT;
        return;
    }
    if (node->value == nullptr)
        return;
    if (line != 0)
        note_value_read(node, line);
    last_line_ = line;
    last_value_ = node->value;
    stored_line_ = 0;
}

// An object with a value of its own is a member of a list, which is walked with it.
void conversion_log::absent(const frag *obj, const char *key)
{
    add_remark(remark::ABSENT, obj, key);
    if (obj->value != nullptr && origin_line(obj) != 0)
        line_at(origin_line(obj)).marks |= LINE_READ;
}

void conversion_log::stopped(walk_stop why, const frag *obj)
{
    add_remark(why == walk_stop::DEEP ? remark::DEEP : remark::RECURSIVE, obj, fragkeyname(obj));
    if (side_ != nullptr) {
        side_->only_led_there = true;
    } else if (steps_.empty()) {
        window_only_leads_ = true;
        for (std::int32_t &line : window_)
            line = -std::abs(line);
    }
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
        for (met_note *note : met_by_rule_)
            note->is_met_for_link = true;
    met_by_rule_.clear();
}

// An object made of a list of patterns has the origin of the list.
static bool is_temporary(const frag *node)
{
    return node != nullptr && std::string_view(top_of(node)->name) == "temp";
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
    side_->only_led_there = is_of_type(obj, "vpnnetwork");
    reads_ = &side_->first;
    if (const std::int32_t line = met_note_of(obj).led_by; line != 0)
        side_->first.push_back(-line);
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
    is_window_used_ = is_window_used_ || source == value_source::READ;
}

// ---- what was noted

void conversion_log::records_written()
{
    phase_ = phase::ENDED;
    record_watch = nullptr;
    tree_watch = nullptr;
    derivation_watch = nullptr;
}

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
    const auto found = notes_.find(record);
    return found == notes_.end() ? nullptr : found->second;
}

record_note *conversion_log::note_of(const void *record)
{
    return const_cast<record_note *>(std::as_const(*this).note_of(record));
}

const field_note *conversion_log::note_of(const void *record, std::string_view field) const
{
    const auto known = field_numbers_.find(field);
    return known == field_numbers_.end() ? nullptr : note_in(note_of(record), known->second);
}

const met_note &conversion_log::met_note_of(const frag *node) const
{
    static const met_note none;
    const auto found = met_.find(node);
    return found == met_.end() ? none : found->second;
}
