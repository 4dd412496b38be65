// Callbacks for tools that check a table: what the reader and the code that applies entries take of
// it, and what they drop without a report. They are called as that code runs, and cannot change the
// outcome.
#pragma once

#include <cstdint>
#include <string_view>

struct cfgrec;

// What the reader drops, or reads in another way than it may be meant. Those that drop a whole line
// are reported too.
enum class table_fault : std::uint8_t {
    NO_ENTRY,           // no colon or no keyword; a keyword with a NUL byte; the line is dropped
    TOO_LONG,           // for a line; it is dropped
    NO_NEWLINE,         // at the end of the last line; it is dropped
    NO_ARGUMENT,        // fewer than two characters after the keyword; the line is dropped
    NO_NAME,            // before the colon: the line is for no proxy
    TOO_MANY_ARGUMENTS, // from here on they are dropped
    UNPRINTABLE,        // the byte is dropped
    OPEN_QUOTE,         // it ends with the line
    OPEN_ESCAPE,        // a backslash that nothing follows is dropped
};

// What is made of an argument other than its text says.
enum class value_fault : std::uint8_t {
    WANTS_NUMBER,  // taken for the digits at its start, or 0
    WANTS_ADDRESS, // nothing can be bound to it
    NOT_KNOWN,     // of a few words; taken for the other one
    NOT_READ,      // one more than the keyword takes
    AFTER_BRACE,   // what follows `{` or `}` in the same argument is dropped
    NAME_CUT,      // of a policy: the rest of it does not count
    OUT_OF_RANGE,  // a number that is brought into the range of 32 bits
    NO_EFFECT,     // log-enabled without a logging entry
    EMPTY_LIST,    // the brace that begins the list of an option
    LIKE_OPTION,   // the argument of an option begins as an option does
};

struct table_watch_calls {
    // A line is read next. The text, without newline, is borrowed until the next call; the pointers
    // below point into it, or into a text that is not of the table.
    void (*line)(int number, std::string_view text);
    void (*name)(std::string_view name);                       // looked at, before the colon
    void (*word)(const char *begin, const char *end);          // the keyword, then each argument
    void (*fault)(table_fault what, const char *at);           // of the line
    void (*value)(value_fault what, const char *value);        // an argument of an entry
    void (*overridden)(const cfgrec &by, const cfgrec &entry); // a setting that is given before
};

namespace flatlink
{

// Null, the initial value, for no watch; otherwise borrowed.
extern const table_watch_calls *table_watch;

} // namespace flatlink
