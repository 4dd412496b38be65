// What a conversion leaves out, or takes for something else, on the way from the current layout to
// the lines of its records: told by its log, as findings.
#pragma once

#include "flatctl/account/conversion_log.h"
#include "flatctl/check/findings.h"

#include <functional>
#include <string_view>
#include <vector>

struct frag;

namespace flatlink
{

// Takes one finding about the code's row. Its text of the line is not known yet.
using finding_taker = std::function<void(std::string_view code, finding found)>;

// Takes the number of further findings of a code, of which none would be kept.
using finding_counter = std::function<void(std::string_view code, std::size_t count)>;

// After the records were written.
//   tree                what the derivation left
//   is_of_older_layout  it was brought to the current one
//   is_told             whether a finding is about that line; asked for those that are left over
void check_derivation(conversion_log &log, frag *tree, bool is_of_older_layout,
                      const std::function<bool(std::int32_t line)> &is_told,
                      const finding_taker &take, const finding_counter &count);

} // namespace flatlink
