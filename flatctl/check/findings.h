// What a check can find, one row a code: the texts of a finding and the page of `help CODE` are
// made of it. A code keeps its meaning for good and is never given to another finding.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

enum class finding_level { ERROR, WARNING, NOTE };

struct finding_row {
    std::string_view code;
    finding_level level;
    std::string_view text;    // what is wrong, in one sentence without its end
    std::string_view follows; // what the system does with it
    std::string_view mend;    // how to put it right
    std::string_view
        smallest; // an input that has it and no other finding; empty where it takes more
    std::string_view before = {};   // the lines before those of `smallest`
    std::string_view shape = {};    // without `smallest`: such an input, in words
    std::string_view since = "1.0"; // the release that has it first
};

namespace flatlink
{

std::span<const finding_row> finding_rows();
const finding_row *find_code(std::string_view code); // null for none
std::string_view level_name(finding_level level);

// All lines of it; empty for none.
std::string smallest_input(const finding_row &row);

// The page of `help CODE`.
std::string finding_help_text(const finding_row &row);

} // namespace flatlink

// One place where a row applies.
struct finding {
    const finding_row *row = nullptr;
    std::int32_t line = 0;   // from 1; 0 for the whole input
    std::int32_t column = 1; // from 1, in bytes
    std::int32_t end = 0;    // last column of what is meant; 0 where only its begin is known
    std::int32_t count = 1;  // how many things, or lines, it is about
    std::vector<std::int32_t> related = {}; // lines that are worth a look too
    std::string detail = {}; // the key, or what else tells this one from others; not escaped
    std::string quoted = {}; // the line, cut to what is shown; not escaped
    std::vector<std::int32_t> also = {}; // lines of findings that are equal but for their place
};

// A column: where the value of a key=value line begins, which is known with the line's text.
inline constexpr std::int32_t AT_VALUE = 0;

// Findings of each code are kept up to this number, and counted beyond it.
inline constexpr std::size_t FINDINGS_MAX = 1000;

namespace flatlink
{

// Joins findings of one code, detail and related lines: the first stays, with the lines of the
// others in `also` and the sum of their counts.
void fold_findings(std::vector<finding> &findings);

} // namespace flatlink
