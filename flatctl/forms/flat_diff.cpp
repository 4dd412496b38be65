#include "flatctl/forms/flat_diff.h"

#include "flatctl/common/secrets.h"
#include "flatctl/common/text_write.h"

#include <algorithm>
#include <map>
#include <span>
#include <unordered_map>

using namespace flatlink;

namespace
{

// A family of numbered records: "NAME_N_", or "NAME_N_INNER_N_".
struct family_row {
    std::string_view name;
    std::string_view inner;
    std::span<const std::string_view> identity; // keys of the fields that it is known by
};

constexpr std::string_view link_identity[] = {
    "lname",         "lnetwork_start_address", "lnetwork_delimiter",
    "lnetwork_type", "rnetwork_start_address", "rnetwork_delimiter",
    "rnetwork_type"};
constexpr std::string_view name_identity[] = {"name"};
constexpr std::string_view key_identity[] = {"id"};
constexpr std::string_view interface_identity[] = {"interface", "addr"};

constexpr family_row families[] = {
    {"vlink", "", link_identity},       {"ikePolicy", "", name_identity},
    {"ipsecPolicy", "", name_identity}, {"mcpool", "", name_identity},
    {"key", "", key_identity},          {"netobj_list", "element", interface_identity},
};

struct flat_record {
    std::string_view family;
    std::string_view prefix; // of its lines
    std::vector<flat_field> fields;
    std::string identity;
};

// Bytes of "WORD_DIGITS_" at the front of `text`; 0 without it.
std::size_t numbered_size(std::string_view text, std::string_view word)
{
    if (!text.starts_with(word) || text.size() <= word.size() || text[word.size()] != '_')
        return 0;
    const std::size_t digits = word.size() + 1;
    const std::size_t end = text.find_first_not_of("0123456789", digits);
    return end != std::string_view::npos && end > digits && text[end] == '_' ? end + 1 : 0;
}

// The family of a line's key and the length of its record's prefix; no row for a setting.
std::pair<const family_row *, std::size_t> family_of(std::string_view key)
{
    for (const family_row &row : families) {
        std::size_t length = numbered_size(key, row.name);
        if (length != 0 && !row.inner.empty()) {
            const std::size_t inner = numbered_size(key.substr(length), row.inner);
            length = inner == 0 ? 0 : length + inner;
        }
        if (length != 0)
            return {&row, length};
    }
    return {nullptr, 0};
}

std::string_view value_of(const std::vector<flat_field> &fields, std::string_view key)
{
    const auto found = std::ranges::find(fields, key, &flat_field::key);
    return found == fields.end() ? std::string_view() : found->value;
}

void name_record(flat_record &record)
{
    const auto *row = std::ranges::find(families, record.family, &family_row::name);
    for (const std::string_view key : row->identity) {
        const std::string_view value = value_of(record.fields, key);
        if (!value.empty())
            record.identity.append(record.identity.empty() ? "" : " ").append(value);
    }
}

std::vector<flat_record> records_of(std::string_view text)
{
    std::vector<flat_record> records;
    std::unordered_map<std::string_view, std::size_t> places; // of prefixes
    while (!text.empty()) {
        const std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::string_view key = line.substr(0, line.find('='));
        if (key.size() == line.size())
            continue;
        const std::string_view value = line.substr(key.size() + 1);
        const auto [row, length] = family_of(key);
        if (row == nullptr) {
            records.push_back({"setting", key, {{key, value}}, std::string(key)});
            continue;
        }
        const auto [place, is_new] = places.try_emplace(key.substr(0, length), records.size());
        if (is_new)
            records.push_back({row->name, key.substr(0, length), {}, {}});
        records[place->second].fields.push_back({key.substr(length), value});
    }
    for (flat_record &record : records)
        if (record.identity.empty())
            name_record(record);
    return records;
}

bool has_field(const std::vector<flat_field> &fields, const flat_field &wanted)
{
    return std::ranges::any_of(fields, [&](const flat_field &field) {
        return field.key == wanted.key && field.value == wanted.value;
    });
}

std::vector<flat_field> without(const std::vector<flat_field> &fields,
                                const std::vector<flat_field> &others)
{
    std::vector<flat_field> left;
    for (const flat_field &field : fields)
        if (!has_field(others, field))
            left.push_back(field);
    return left;
}

} // namespace

std::vector<flat_change> flatlink::compare_flat(std::string_view old_text,
                                                std::string_view new_text)
{
    const std::vector<flat_record> before = records_of(old_text);
    const std::vector<flat_record> after = records_of(new_text);
    // Several of one identity pair up in their order.
    std::map<std::pair<std::string_view, std::string_view>, std::vector<const flat_record *>> left;
    for (auto record = before.rbegin(); record != before.rend(); ++record)
        left[{record->family, record->identity}].push_back(&*record);

    std::vector<flat_change> changes;
    for (const flat_record &record : after) {
        auto &same = left[{record.family, record.identity}];
        if (same.empty()) {
            changes.push_back(
                {'+', std::string(record.family), record.identity, {}, record.fields});
            continue;
        }
        flat_change change{'~', std::string(record.family), record.identity,
                           without(same.back()->fields, record.fields),
                           without(record.fields, same.back()->fields)};
        same.pop_back();
        if (!change.was.empty() || !change.now.empty())
            changes.push_back(std::move(change));
    }
    for (const flat_record &record : before) {
        auto &same = left[{record.family, record.identity}];
        if (same.empty() || same.back() != &record)
            continue;
        same.pop_back();
        changes.push_back({'-', std::string(record.family), record.identity, record.fields, {}});
    }
    return changes;
}

std::string flatlink::shown_change(const flat_change &change, bool is_revealed)
{
    std::string text = {change.kind, ' '};
    text += change.family + " " + shown_line(change.identity) + "\n";
    if (change.kind != '~')
        return text;
    const auto add = [&](const char *mark, const flat_field &field) {
        const std::string line = std::string(field.key) + "=" + std::string(field.value);
        const bool is_hidden =
            !is_revealed && is_secret_key(change.family + "_" + std::string(field.key));
        text += mark;
        text += is_hidden ? std::string(field.key) + "=" + hidden_secret(field.value) : shown(line);
        text += "\n";
    };
    for (const flat_field &field : change.was)
        add("    - ", field);
    for (const flat_field &field : change.now)
        add("    + ", field);
    return text;
}
