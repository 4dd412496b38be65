#include "flatctl/account/line_classes.h"

#include "flatctl/account/node_classes.h"
#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/links.h"
#include "flatlink/records/names.h"
#include "flatlink/records/pools.h"
#include "flatlink/records/records.h"
#include "flatlink/records/settings.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/origin.h"

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <type_traits>

using namespace flatlink;

namespace
{

constexpr class_row rows[] = {
    {line_class::USED, "used", "", "used: a line of the output has their value"},
    {line_class::DECIDES, "decides", "",
     "read: they may decide which records there are, and their order"},
    {line_class::LAYOUT, "layout", "", "decide the layout only"},
    {line_class::PLAIN, "default", "", "say what holds without them, too"},
    {line_class::NO_LINK, "no-link", "D301", "of rules that imply no link"},
    {line_class::UNREACHED, "unreached", "D304", "of objects that no rule with links leads to"},
    {line_class::NO_PLACE, "no-place", "D402", "read, no place in the flat file"},
    {line_class::SECOND, "second-interface", "D405", "of interfaces known by another list already"},
    {line_class::DROPPED, "dropped", "D403", "of records that are not complete"},
    {line_class::MEMBER, "member-type", "", "type of a group's member, not needed"},
    {line_class::REPLACED, "replaced", "D111", "replaced by another line of their key"},
    {line_class::JOINED, "joined", "D110", "without '=': part of the next key"},
    {line_class::NEVER_ASKED, "never-asked", "D401", "never asked for"},
};

// What the fields that name one line have in common.
struct field_summary {
    bool is_stored = false;
    bool has_value = false;    // in some record, it is neither plain nor without a place
    bool is_plain = false;     // in some record
    bool has_no_place = false; // in some record
    bool is_second = false;
    bool is_dropped = false;
};

class accountant
{
  public:
    accountant(conversion_log &log, std::vector<line_use> *uses)
        : log_(log), uses_(uses), is_used_(log.lines().size()), fields_(log.lines().size())
    {
    }

    std::vector<classed_line> run(const frag *tree);

  private:
    void find_stand_ins();
    template <typename record, typename list>
    void mark_fields(const list &records, field_table<record> table);
    template <typename record>
    const field<record> *row_of_field(std::uint32_t number, field_table<record> table);
    template <typename record>
    void mark_fields_of(const record &one, record_note &note, field_table<record> table);
    void mark_link(const written_record &written);
    void mark_settings();
    void trace_output();
    void trace_record(const written_record &written);
    bool can_differ(const output_note &output, const written_record &written) const;
    bool is_used_by_all(std::int32_t line, const record_note &kept) const;
    bool says_own_key(std::int32_t line, std::uint32_t hash) const;
    bool counts_for_number(const record_note &note) const;
    void summarise_fields();
    line_class class_of(std::int32_t line) const;

    conversion_log &log_;
    std::vector<line_use> *uses_;       // null where none are asked for
    std::vector<bool> is_used_;         // by line
    std::vector<field_summary> fields_; // by line
    std::vector<node_class> others_;    // by line, of those that no field has
    std::unordered_set<std::int32_t> own_keys_;
    // The records that another one stands for, by that one.
    std::unordered_map<const void *, std::vector<record_note *>> stands_for_;
    const std::vector<record_note *> *twins_ =
        nullptr; // of the record that is traced; null for none
};

// The same but for how a program fills the fields of a record that no line names.
template <typename record> record usual_record(const record &)
{
    return {};
}

// A rule without a level logs as much as level 2; what `enforce-xgw` says counts with `use-xgw`.
template <> linkinfo usual_record(const linkinfo &link)
{
    linkinfo usual;
    usual.logging = static_cast<std::uint8_t>(parsenametonum(debug_list, "2"));
    usual.xgwflags = link.xgwflags & XGW_USED;
    return usual;
}

} // namespace

std::span<const class_row> flatlink::class_rows()
{
    return rows;
}

const class_row &flatlink::row_of(line_class kind)
{
    return rows[static_cast<std::size_t>(kind)];
}

// ---- fields that say what holds without them

void accountant::find_stand_ins()
{
    for (record_note &note : log_.records())
        if (note.is_dropped && note.kept != nullptr)
            stands_for_[note.kept].push_back(&note);
}

// The row of each field number, so that millions of fields are not compared with a table.
template <typename record>
const field<record> *accountant::row_of_field(std::uint32_t number, field_table<record> table)
{
    static std::vector<std::optional<const field<record> *>> known;
    if (number >= known.size())
        known.resize(number + std::size_t{1});
    if (!known[number]) {
        const auto row = std::ranges::find(table, log_.field_key(number), &field<record>::key);
        known[number] = row == table.end() ? nullptr : &*row;
    }
    return *known[number];
}

template <typename record>
void accountant::mark_fields_of(const record &one, record_note &note, field_table<record> table)
{
    static const record fresh;
    const record usual = usual_record(one);
    for (field_note &stored : note.fields) {
        const field<record> *row = row_of_field<record>(stored.field, table);
        if (row == nullptr)
            continue;
        // A record's name is a part of its keys; the line with the name is read by links alone.
        const bool is_identity = row->key == "name" && !std::is_same_v<record, vpn_intf>;
        constexpr unsigned OF_NO_EFFECT = NOT_WRITTEN | MAY_DIFFER;
        stored.has_no_place = is_identity || ((row->flags & OF_NO_EFFECT) == OF_NO_EFFECT &&
                                              row->key != "rulenumber");
        const record &without = row->key == "use_xgw" ? fresh : usual;
        stored.prints_same =
            row->held.print != nullptr && row->held.print(one) == row->held.print(without);
        stored.is_plain =
            !stored.has_no_place && stored.prints_same && row->held.compared.same(one, without);
    }
}

template <typename record, typename list>
void accountant::mark_fields(const list &records, field_table<record> table)
{
    for (const auto &one : records) {
        if (record_note *note = log_.note_of(one.get()); note != nullptr)
            mark_fields_of<record>(*one, *note, table);
    }
}

// Those that it stands for are equal, but for what may differ.
void accountant::mark_link(const written_record &written)
{
    const auto &link = *static_cast<const linkinfo *>(written.record);
    mark_fields_of<linkinfo>(link, *written.note, link_fields);
    if (twins_ != nullptr)
        for (record_note *twin : *twins_)
            mark_fields_of<linkinfo>(link, *twin, link_fields);
}

void accountant::mark_settings()
{
    for (std::size_t i = 0; i < vpn_settings.size(); ++i) {
        const vpn_setting &row = vpn_settings[i];
        record_note *note = log_.note_of(&row);
        if (note == nullptr || row.print == nullptr)
            continue;
        field_note &stored = note->fields[0];
        stored.is_plain = stored.prints_same = row.print() == log_.usual_settings()[i];
    }
    if (record_note *router = log_.note_of(&my_def_interface); router != nullptr)
        router->fields[0].has_no_place = true;
}

// ---- which lines the output has

// Whether the value is what its field would hold if the line, the name of an object, were not
// there: the object's key.
bool accountant::says_own_key(std::int32_t line, std::uint32_t hash) const
{
    constexpr std::string_view ENDING = "_name";
    const frag *node = log_.lines()[static_cast<std::size_t>(line)].node;
    if (node != nullptr && std::string_view(node->name) != "name")
        return false;
    const std::string whole_key = log_.key_of_line(line);
    std::string_view key = whole_key;
    if (!key.ends_with(ENDING))
        return false;
    key.remove_suffix(ENDING.size());
    return hash == conversion_log::hash_of(key) ||
           hash == conversion_log::hash_of("~" + std::string(key));
}

// Without the line, an equal link that does not depend on it would stand in the place of this one.
//   kept  the link itself: of its fields is known which would be the same in any case
bool accountant::is_used_by_all(std::int32_t line, const record_note &kept) const
{
    const auto depends = [&](const field_note &stored) {
        const auto lines = log_.lines_of(stored.origins);
        if (std::ranges::find(lines, line) == lines.end())
            return false;
        const field_note *same = conversion_log::note_in(&kept, stored.field);
        return same == nullptr || !same->prints_same;
    };
    return twins_ == nullptr || std::ranges::all_of(*twins_, [&](const record_note *twin) {
               return std::ranges::any_of(twin->fields, depends);
           });
}

// Whether a side of a link, or an entry of a pool, holds what it holds for an empty text, too: no
// line of the text is needed for it.
static bool is_of_empty_text(const output_note &output, std::string_view field)
{
    static const std::uint32_t no_address = conversion_log::hash_of("0.0.0.0");
    return output.hash == no_address &&
           (field.starts_with("lnetwork_") || field.starts_with("rnetwork_") ||
            field.starts_with("addr") || field.starts_with("net_"));
}

// Whether a line of the output can be another without one of the lines that it comes from.
bool accountant::can_differ(const output_note &output, const written_record &written) const
{
    const std::string_view field = log_.field_key(output.field);
    if (is_of_empty_text(output, field))
        return false;
    if (written.note->link == NO_NOTE) // what an interface has no value for is from its other list
        return twins_ == nullptr ||
               (field != "name" && field != "location" && field != "broadcast");
    const auto *link = static_cast<const linkinfo *>(written.record);
    const bool is_overridden = (link->xgwflags & XGW_USED) != 0 && field.starts_with("lnetwork_");
    return !field.ends_with("network_type") && !is_overridden;
}

void accountant::trace_record(const written_record &written)
{
    const auto others = stands_for_.find(written.record);
    twins_ = others == stands_for_.end() ? nullptr : &others->second;
    if (written.note != nullptr && written.note->link != NO_NOTE)
        mark_link(written); // now, while its notes are at hand: of many, each visit has to wait
    for (std::uint32_t i = written.begin; i < written.begin + written.count; ++i) {
        const output_note &output = log_.output()[i];
        const field_note *stored = conversion_log::note_in(written.note, output.field);
        if (stored == nullptr || stored->prints_same || stored->has_no_place)
            continue;
        const bool is_different = can_differ(output, written);
        for (const std::int32_t line : log_.lines_of(stored->origins)) {
            if (line < 0 ||
                (log_.lines()[static_cast<std::size_t>(line)].marks & LINE_ALL_ONES) != 0)
                continue;
            if (says_own_key(line, output.hash)) {
                own_keys_.insert(line);
            } else if (is_different &&
                       (written.note->link == NO_NOTE || is_used_by_all(line, *written.note))) {
                if (uses_ != nullptr)
                    uses_->push_back({line, static_cast<std::int32_t>(i) + 1});
                is_used_[static_cast<std::size_t>(line)] = true;
            }
        }
    }
}

void accountant::trace_output()
{
    std::ranges::for_each(log_.written(),
                          [this](const written_record &written) { trace_record(written); });
    if (uses_ != nullptr)
        std::ranges::stable_sort(*uses_, {}, &line_use::input);
}

// ---- lines without a line of their own in the output

// An interface has its number in the output also when it is left out, as long as it has a line.
bool accountant::counts_for_number(const record_note &note) const
{
    std::set<std::int32_t> lines;
    for (const field_note &stored : note.fields)
        for (const std::int32_t line : log_.lines_of(stored.origins))
            lines.insert(line);
    return note.is_dropped && note.why == left_out::NO_INTERFACE && lines.size() == 1;
}

void accountant::summarise_fields()
{
    for (const record_note &note : log_.records()) {
        const bool is_twin = note.is_dropped && note.why == left_out::EQUAL_LINK;
        const bool is_number = note.is_dropped && !is_twin && counts_for_number(note);
        for (const field_note &stored : note.fields) {
            // Sizes and order of links come from the whole text of an address, and without a
            // gateway there are none.
            const bool is_address = stored.source == value_source::REMOTE_SIDE ||
                                    stored.source == value_source::LOCAL_SIDE ||
                                    (stored.is_plain && log_.field_key(stored.field) == "gateway");
            for (const std::int32_t line : log_.lines_of(stored.origins)) {
                if (line < 0)
                    continue;
                field_summary &summary = fields_[static_cast<std::size_t>(line)];
                summary.is_stored = true;
                if (is_number)
                    summary.has_value = true;
                else if (note.is_dropped && !is_twin)
                    (note.why != left_out::SAME_ADDRESS ? summary.is_dropped
                     : note.has_lent                    ? summary.has_value
                                                        : summary.is_second) = true;
                else if (stored.has_no_place)
                    summary.has_no_place = true;
                else
                    ((stored.is_plain && !is_address) || own_keys_.contains(line)
                         ? summary.is_plain
                         : summary.has_value) = true;
            }
        }
    }
}

line_class accountant::class_of(std::int32_t line) const
{
    const auto index = static_cast<std::size_t>(line);
    const std::uint16_t marks = log_.lines()[index].marks;
    const field_summary &fields = fields_[index];
    if ((marks & LINE_JOINED) != 0)
        return line_class::JOINED;
    if ((marks & LINE_REPLACED) != 0) // the order of interfaces is that of their first lines
        return log_.key_of_line(line).starts_with("netobj_") ? line_class::DECIDES
                                                             : line_class::REPLACED;
    if ((marks & LINE_IN_TREE) == 0)
        return line_class::LAYOUT;
    if (is_used_[index])
        return line_class::USED;
    const bool is_mixed =
        fields.has_value ||
        fields.is_plain + fields.has_no_place + fields.is_second + fields.is_dropped > 1;
    if (fields.is_stored)
        return is_mixed              ? line_class::DECIDES
               : fields.is_plain     ? line_class::PLAIN
               : fields.has_no_place ? line_class::NO_PLACE
               : fields.is_second    ? line_class::SECOND
               // Without an object, another text would stand in the record.
               : log_.key_of_line(line).starts_with("net_") ? line_class::DECIDES
                                                            : line_class::DROPPED;
    if ((marks & LINE_MEMBER_TYPE) != 0)
        return line_class::MEMBER;
    const bool is_walked = others_[index].kind != line_class::NEVER_ASKED;
    if (!is_walked && (marks & LINE_READ) != 0)
        return line_class::DECIDES;
    return !is_walked && (marks & LINE_FOR_LAYOUT) != 0 ? line_class::LAYOUT : others_[index].kind;
}

std::vector<classed_line> accountant::run(const frag *tree)
{
    find_stand_ins();
    mark_fields<ikepol>(ikepolicy, ikepol_fields);
    for (const auto &policy : ikepolicy)
        mark_fields<ikeprop>(policy->props, ikeprop_fields);
    mark_fields<ipsecpol>(ipsecpolicy, ipsecpol_fields);
    for (const auto &policy : ipsecpolicy)
        mark_fields<ipsecprop>(policy->props, ipsecprop_fields);
    mark_fields<mcpool>(mcpools, pool_fields);
    mark_fields<vpn_intf>(intf_list, interface_fields);
    mark_settings();
    trace_output();
    summarise_fields();
    others_ = classes_of_nodes(log_, tree);
    std::vector<classed_line> lines;
    lines.reserve(log_.lines().size());
    for (std::int32_t line = 1; line < static_cast<std::int32_t>(log_.lines().size()); ++line)
        if ((log_.lines()[static_cast<std::size_t>(line)].marks & (LINE_HAS_VALUE | LINE_JOINED)) !=
            0)
            lines.push_back({line, class_of(line)});
    return lines;
}

std::vector<classed_line> flatlink::account_of(conversion_log &log, const frag *tree,
                                               std::vector<line_use> *uses)
{
    return accountant(log, uses).run(tree);
}
