// The account of a conversion: each line of the input in exactly one class, each line of the output
// with the lines that it comes from.
#pragma once

#include "flatctl/account/conversion_log.h"

#include <cstdint>
#include <string_view>
#include <vector>

enum class line_class : std::uint8_t {
    USED,       // a line of the output has its value; without it the output is another
    DECIDES,    // read; it may decide which records there are, their order and what they name
    LAYOUT,     // read, or changed, only while the tree was brought to the current layout
    PLAIN,      // says what holds without it, too
    NO_LINK,    // of a rule that implies no link
    UNREACHED,  // of an object that no rule with links leads to
    NO_PLACE,   // read, but the flat data have no place for it
    SECOND,     // of an interface that is known by another list already
    DROPPED,    // of a record that is not complete
    MEMBER,     // the type of a group's member, which its name tells, too
    REPLACED,   // a later line has its key
    JOINED,     // has no '=': a part of the next key
    NEVER_ASKED // no program asks for its key
};

struct class_row {
    line_class kind;
    std::string_view word; // in JSON
    std::string_view code; // of the finding about it; empty for none
    std::string_view text; // after the count of its lines
};

struct classed_line {
    std::int32_t line;
    line_class kind;
};

// A line of the input, and a line of the output that has its value; both count from 1.
struct line_use {
    std::int32_t input;
    std::int32_t output;
};

namespace flatlink
{

// In the order of a report.
std::span<const class_row> class_rows();
const class_row &row_of(line_class kind);

// All lines, in the order of the input, after the records were written. `tree` is what the
// derivation left; the log gets marks for the fields that say what holds without them, too.
//   uses  filled in by input, then by output; null where only the classes are wanted
std::vector<classed_line> account_of(conversion_log &log, const frag *tree,
                                     std::vector<line_use> *uses = nullptr);

} // namespace flatlink
