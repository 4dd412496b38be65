// Reports what becomes of the fields of records to programs that explain a conversion.
#pragma once

#include "lib/ulib/text.h"

#include <cstdint>
#include <string_view>

// Why a record, or an entry of one, is not written.
enum class left_out : std::uint8_t {
    NO_NAME,       // a link
    EQUAL_LINK,    // an earlier link says the same
    SAME_ADDRESS,  // an interface in a second list, merged into the first
    NO_INTERFACE,  // an interface without a device, an address or a mask
    NO_WORDS,      // a proposal without its words
    NO_PROPOSALS,  // a policy
    NO_ADDRESSES,  // a pool without a mask or a range
    ENTRY_ADDRESS, // an entry of a pool without an address
};

// What a value ought to be, and is not.
enum class value_kind : std::uint8_t {
    WORD,    // of the field's table
    ADDRESS, // or a mask
    NUMBER,
};

// Each call may be null. A record is identified by its address, which stays the same from its first
// field to its last line. Texts are borrowed for the call.
struct record_observer {
    void *context = nullptr; // passed to each call

    // A line is about to set `field`, the key of a row; the value before it is lost.
    void (*stored)(void *context, const void *record, std::string_view field,
                   std::string_view value) = nullptr;

    // The value of the field that is being set has no meaning, or another than it seems to have.
    void (*unreadable)(void *context, value_kind wanted, std::string_view value) = nullptr;

    // The line that was just read sets no field of its record.
    void (*unknown)(void *context) = nullptr;

    // A text is longer than what is kept of it.
    void (*cut)(void *context, std::string_view kept) = nullptr;

    // A line is about to be written. `field` is the key of its row, `value` what follows the '='.
    void (*written)(void *context, const void *record, std::string_view field,
                    std::string_view value) = nullptr;

    // A field takes the place of another, in this record or in the one that stands for it.
    void (*moved)(void *context, const void *from, std::string_view from_field, const void *to,
                  std::string_view to_field) = nullptr;

    // `record` is about to be dropped.
    //   kept   the record that stands for it; null for none
    //   field  the key of the entry that is dropped; empty: all of the record
    void (*dropped)(void *context, left_out why, const void *record, const void *kept,
                    std::string_view field) = nullptr;
};

namespace flatlink
{

// Watches all records while it is set; null by default. Borrowed from the program, which resets it.
inline const record_observer *record_watch = nullptr;

inline void note_stored(const void *record, std::string_view field, std::string_view value)
{
    if (record_watch != nullptr && record_watch->stored != nullptr)
        record_watch->stored(record_watch->context, record, field, value);
}

inline void note_unreadable(value_kind wanted, std::string_view value)
{
    if (record_watch != nullptr && record_watch->unreadable != nullptr)
        record_watch->unreadable(record_watch->context, wanted, value);
}

// Unless `value` is nothing but the number that is held.
inline void note_unless_number(std::int64_t held, std::string_view value)
{
    std::string_view rest = value;
    if (record_watch != nullptr && (take_number(rest) != held || !rest.empty()))
        note_unreadable(value_kind::NUMBER, value);
}

// Unless `value` is one of two words.
inline void note_unless_word(std::string_view value, std::string_view one, std::string_view other)
{
    if (record_watch != nullptr && !same_word(value, one) && !same_word(value, other))
        note_unreadable(value_kind::WORD, value);
}

inline void note_unknown()
{
    if (record_watch != nullptr && record_watch->unknown != nullptr)
        record_watch->unknown(record_watch->context);
}

inline void note_cut(std::string_view kept)
{
    if (record_watch != nullptr && record_watch->cut != nullptr)
        record_watch->cut(record_watch->context, kept);
}

inline void note_written(const void *record, std::string_view field, std::string_view value)
{
    if (record_watch != nullptr && record_watch->written != nullptr)
        record_watch->written(record_watch->context, record, field, value);
}

inline void note_moved(const void *from, std::string_view from_field, const void *to,
                       std::string_view to_field)
{
    if (record_watch != nullptr && record_watch->moved != nullptr)
        record_watch->moved(record_watch->context, from, from_field, to, to_field);
}

inline void note_dropped(left_out why, const void *record, const void *kept = nullptr,
                         std::string_view field = {})
{
    if (record_watch != nullptr && record_watch->dropped != nullptr)
        record_watch->dropped(record_watch->context, why, record, kept, field);
}

} // namespace flatlink
