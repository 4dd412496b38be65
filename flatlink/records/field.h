// One row per field: the word in its line, and how a value is stored, printed and compared. A
// family of records is one table of rows, in the order in which its lines are written. Parser,
// writer, twin test and viewers read that table, so a new field is a member and its row.
//
//     {"rulenumber", as<decimal, &linkinfo::rulenumber>, NOT_WRITTEN | MAY_DIFFER},
//
// `as` takes a codec, which reads and writes a value of that type, and the member, or a chain of
// nested members. A field that fits no codec gets functions of its own.
#pragma once

#include "flatlink/records/line.h"
#include "flatlink/records/record_watch.h"
#include "lib/ulib/name_table.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <array>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace flatlink
{

// The text of a field, or nothing: the record has no such line. A text that the record holds, or a
// table, is borrowed from there; one that is made of a number is kept here.
class printed
{
  public:
    printed() = default;
    printed(std::nullopt_t) {}
    printed(std::string_view lasting) : is_there_(true), lasting_(lasting) {}
    printed(const std::string &lasting) : printed(std::string_view(lasting)) {}
    printed(const char *lasting) : printed(std::string_view(lasting)) {}
    printed(const std::string &&made) : is_there_(true), made_(made) {}

    explicit operator bool() const { return is_there_; }
    std::string_view operator*() const { return lasting_.data() != nullptr ? lasting_ : made_; }
    bool operator==(const printed &other) const
    {
        return is_there_ == other.is_there_ && **this == *other;
    }

  private:
    bool is_there_ = false;
    std::string_view lasting_; // null: made_ is the text
    std::string made_;
};

// How two records are compared in one field.
template <typename record> struct comparison {
    bool (*same)(const record &, const record &) = nullptr; // null: they are not
    std::size_t (*hash)(const record &) = nullptr;
};

template <typename record> struct form {
    void (*store)(record &, std::string_view value) = nullptr;
    printed (*print)(const record &) = nullptr; // null: never written
    comparison<record> compared = {};
};

enum field_flag : unsigned {
    SECRET = 1,      // hidden where records are only looked at
    NOT_WRITTEN = 2, // read only
    MAY_DIFFER = 4,  // equal records may differ in it
};

template <typename record> struct field {
    std::string_view key;
    form<record> held;
    unsigned flags = 0;
    const char *no_memory = nullptr; // printed when it cannot be stored; null: what its family says
};

template <typename record> using field_table = std::span<const field<record>>;

// ---- the generic walks

// The first row of `key`, null when there is none. The same few keys come again for each record, so
// it is tried first where a key like this one was found the last time.
template <typename record>
const field<record> *find_row(field_table<record> table, std::string_view key)
{
    constexpr std::size_t PLACES = 128;
    static std::array<std::uint8_t, PLACES> places{}; // of rows in a table
    if (key.empty())
        return nullptr;
    std::uint8_t &place = places[(key.size() + 25U * static_cast<unsigned char>(key.front()) +
                                  13U * static_cast<unsigned char>(key.back())) %
                                 PLACES];
    if (place < table.size() && table[place].key == key)
        return &table[place];
    for (const field<record> &row : table) {
        if (row.key != key)
            continue;
        place = static_cast<std::uint8_t>(&row - table.data());
        return &row;
    }
    return nullptr;
}

// Stores a value by the row of `key`; false when there is none. `message` is what a failed
// allocation would print from here on.
template <typename record>
bool store_field(std::type_identity_t<field_table<record>> table, record &target,
                 std::string_view key, std::string_view value, const char *&message)
{
    const field<record> *row = find_row<record>(table, key);
    if (row == nullptr) {
        note_unknown();
        return false;
    }
    if (row->no_memory != nullptr)
        message = row->no_memory;
    note_stored(&target, row->key, value);
    row->held.store(target, value);
    return true;
}

// Writes the lines of one record.
template <typename record>
void print_fields(const record_writer &out, std::type_identity_t<field_table<record>> table,
                  const record &source)
{
    for (const field<record> &row : table)
        if (row.held.print != nullptr && (row.flags & NOT_WRITTEN) == 0)
            if (const printed value = row.held.print(source)) {
                note_written(&source, row.key, *value);
                out.text(row.key, *value);
            }
}

// ---- forms

template <typename owner, typename type> owner owner_of(type owner::*);
template <auto member> using owner_type = decltype(owner_of(member));

template <auto first, auto... inner>
inline constexpr comparison<owner_type<first>> by{
    [](const owner_type<first> &a, const owner_type<first> &b) {
        return ((a.*first).*....*inner) == ((b.*first).*....*inner);
    },
    [](const owner_type<first> &source) {
        const auto &value = ((source.*first).*....*inner);
        return std::hash<std::remove_cvref_t<decltype(value)>>()(value);
    }};

template <typename codec, auto first, auto... inner>
inline constexpr form<owner_type<first>> as{
    [](owner_type<first> &target, std::string_view value) {
        codec::read(((target.*first).*....*inner), value);
    },
    [](const owner_type<first> &source) { return codec::print(((source.*first).*....*inner)); },
    by<first, inner...>};

// A key that is known and means nothing.
template <typename record> inline constexpr form<record> ignored{[](record &, std::string_view) {}};

// The name is the record's identity and part of its keys, so its line only makes the record.
template <auto name>
inline constexpr form<owner_type<name>> identity{
    [](owner_type<name> &, std::string_view) {},
    [](const owner_type<name> &source) -> printed { return source.*name; }};

// ---- codecs

// Unless `value` says the address that is held.
inline void note_unless_address(u32 addr_be, std::string_view value)
{
    if (record_watch != nullptr && !says_address(value, addr_be))
        note_unreadable(value_kind::ADDRESS, value);
}

struct as_text {
    static void read(std::string &held, std::string_view value) { held = value; }
    static printed print(const std::string &held) { return held; }
};

// By a table of names; a word in no row is 0, and a number in no row has no word.
template <const auto &table> struct word_of {
    template <typename number> static void read(number &held, std::string_view value)
    {
        held = static_cast<number>(parsenametonum(table, value));
        if (held == 0 && std::ranges::none_of(table, [value](const auto &row) {
                return same_word(row.name, value);
            }))
            note_unreadable(value_kind::WORD, value);
    }
    static printed print(std::int32_t held) { return parsenumtoname(table, held); }
};

// Numbers differ in what they do with text that is none: 0, or the old contents stay.
struct decimal {
    template <typename number> static void read(number &held, std::string_view value)
    {
        held = static_cast<number>(take_number(value));
    }
    static printed print(std::int64_t held) { return std::to_string(held); }
};

struct bounded_decimal : decimal {
    template <typename number> static void read(number &held, std::string_view value)
    {
        held = static_cast<number>(lenient_number(value));
        note_unless_number(held, value);
    }
};

struct scanned_decimal : decimal {
    static void read(std::int32_t &held, std::string_view value) { (void)scan_number(value, held); }
};

struct hexadecimal {
    static void read(u32 &held, std::string_view value) { (void)scan_hex(value, held); }
    static printed print(u32 held) { return hex_text(held); }
};

// Printed with five digits at least.
template <typename codec> struct padded : codec {
    static printed print(std::int32_t held) { return with_zeros(held, 5); }
};

struct address {
    static void read(u32 &held, std::string_view value)
    {
        held = parse_address(value);
        note_unless_address(held, value);
    }
    static printed print(u32 held) { return format_address(held); }
};

struct network_mask : address {
    static void read(u32 &held, std::string_view value)
    {
        held = parse_network(std::string(value));
        note_unless_address(held, value);
    }
};

// A word where the table has none for a number.
template <const auto &table, const auto &otherwise> struct word_or : word_of<table> {
    static printed print(std::int32_t held)
    {
        const std::string_view word = parsenumtoname(table, held);
        return word.empty() ? otherwise : word;
    }
};

// A word for 0, which the table lacks. Any other number without a word is written as nothing: the
// word for 0 would say something that the record does not.
template <const auto &table, const auto &zero_word> struct word_unless_zero : word_of<table> {
    static printed print(std::int32_t held)
    {
        return held == 0 ? printed(zero_word) : word_of<table>::print(held);
    }
};

// Written only when there is something to write.
template <typename codec> struct if_set : codec {
    template <typename type> static printed print(const type &held)
    {
        return held == type{} ? printed() : codec::print(held);
    }
};

// ---- tables made of tables

// The rows of a block inside a record, as rows of that record.
template <auto member, const auto &table> constexpr auto rows_inside()
{
    using record = owner_type<member>;
    constexpr auto row = []<std::size_t i>(std::integral_constant<std::size_t, i>) {
        constexpr auto inner = table[i];
        return field<record>{
            inner.key,
            {[](record &target, std::string_view value) {
                 table[i].held.store(target.*member, value);
             },
             [](const record &source) { return table[i].held.print(source.*member); },
             {[](const record &a, const record &b) {
                  return table[i].held.compared.same(a.*member, b.*member);
              },
              [](const record &source) { return table[i].held.compared.hash(source.*member); }}},
            inner.flags,
            inner.no_memory};
    };
    return [&row]<std::size_t... i>(std::index_sequence<i...>)
    {
        return std::array<field<record>, sizeof...(i)>{
            row(std::integral_constant<std::size_t, i>())...};
    }
    (std::make_index_sequence<std::size(table)>());
}

// One table of several, in order.
template <typename record, std::size_t... sizes>
constexpr auto joined(const std::array<field<record>, sizes> &...parts)
{
    std::array<field<record>, (sizes + ...)> all{};
    std::size_t count = 0;
    const auto append = [&all, &count](const auto &part) {
        for (const auto &row : part)
            all[count++] = row;
    };
    (append(parts), ...);
    return all;
}

} // namespace flatlink
