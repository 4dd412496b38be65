// Numbers of lines, for people.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace flatlink
{

// The numbers, which rise, as "3 33-35 62"; after `most` pieces, how many more lines there are.
std::string line_ranges(std::span<const std::int32_t> lines, std::size_t most);

} // namespace flatlink
