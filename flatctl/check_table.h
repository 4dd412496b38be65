// The check of one netperm-table: runs inside of a child that may use files of memory.
#pragma once

#include "flatctl/findings.h"
#include "flatctl/kind.h"

#include <string_view>
#include <vector>

namespace flatlink
{

// What the reader of the table drops, for any name in it, and what is wrong with the policies that
// the `hosts` lines name. In the order of their lines, each once.
std::vector<finding> check_table(std::string_view table, input_facts &facts);

} // namespace flatlink
