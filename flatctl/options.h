// The command line of flatctl as tables. Parser, help texts and the hint at the nearest word read
// the same rows, so an option that parses is an option that the help shows.
#pragma once

#include "flatctl/common/request.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

enum verb_bit : unsigned {
    VERB_CHECK = 1,
    VERB_PREVIEW = 2,
    VERB_CONVERT = 4,
    VERB_UNDO = 8,
    VERB_EXPLAIN_ACCESS = 16,
    VERB_HELP = 32,
    VERB_COMPLETION = 64,
    VERB_MANUAL = 128,
    VERB_EXPLAIN_LINK = 256,
    VERB_EXPLAIN_LINE = 512,
    VERB_ALL = ~0U,
};

// A verb. `name` may have two words.
struct verb_row {
    std::string_view name;
    verb_bit bit;
    std::string_view operands; // as the usage line shows them
    std::size_t least_operands;
    std::size_t most_operands;
    std::string_view summary;
    int (*run)(const request &);   // returns an exit_status
    std::string_view details = {}; // for its manual page; empty: it has none of its own
};

// Where an option's argument goes; a number is from 1 on.
using option_target =
    std::variant<bool request::*, std::string request::*, std::int32_t request::*>;

// An option. One with two names has a row for each; the second has no help text and is not listed.
struct option_row {
    std::string_view name; // with its dashes
    std::string_view argument;
    unsigned verbs; // verb_bits that take it
    std::string help;
    option_target target;
    std::span<const std::string_view> choices = {}; // empty: any text
};

namespace flatlink
{

// All rows, in the order of the help.
std::span<const verb_row> verb_rows();
std::span<const option_row> option_rows();

// Reads a command line without the program's name. Returns the empty text, or what is wrong with
// it, in one line; `asked` holds what was read so far. `--` ends the options, and an option's
// argument follows it, as the next word or after a '='.
std::string parse_options(std::span<const std::string> words, request &asked);

// The verb of that name; null for none.
const verb_row *find_verb(std::string_view name);

// The row whose word is nearest to `word`, by single-letter changes and swaps; empty if none is
// near enough to be meant.
std::string_view nearest_word(std::string_view word, std::span<const std::string_view> words);

// The page of all verbs, and that of one with its options.
std::string overview_text();
std::string verb_help_text(const verb_row &verb);

} // namespace flatlink
