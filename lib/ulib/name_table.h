// Tables that translate between the words in a file and the numbers in a record.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// One row. Several rows may share a number: the first of them is what the number prints as.
struct name_num {
    std::string_view name;
    std::int32_t number = 0;
};

// Ends with its span, or earlier at a row whose name is null.
using name_table = std::span<const name_num>;

// The name of a number that is in no row: the empty text, with a NUL terminator.
inline constexpr std::string_view null_name = "";

// The number of the first row whose name equals `name`, ASCII case ignored; 0 when no row does.
// 0 is a real value in some tables: there is no separate failure.
std::int32_t parsenametonum(name_table table, std::string_view name);

// The name of the first row with exactly `number`; null_name when there is none.
// The view lives as long as the table.
std::string_view parsenumtoname(name_table table, std::int32_t number);
