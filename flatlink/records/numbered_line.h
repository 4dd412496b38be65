// The frame of link, pair, pass and key lines: NN_KEY=value or NNNN_KEY=value.
#pragma once

#include <cstdint>
#include <string_view>

struct numbered_line {
    std::int32_t number = -1; // -1: there are no digits
    std::string_view key;
    std::string_view value; // empty: the line is of no use, has no value or no equals sign
};

inline constexpr std::int32_t HIGHEST_LINE_NUMBER = 9999;

namespace flatlink
{

// Two digits if the third character is an underscore, else four; whatever stands where the
// underscore belongs is ignored. The parts live as long as `rest`.
numbered_line read_numbered_line(std::string_view rest);

} // namespace flatlink
