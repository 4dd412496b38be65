// Which finding each report and each call of the table's watch is.
#pragma once

#include "lib/fwall/table/table_watch.h"

#include <string_view>

struct report_code {
    std::string_view format; // how the report's format begins
    std::string_view code;   // empty: it is told in another way
};

struct value_code {
    value_fault fault;
    std::string_view code;
    std::string_view words; // what to say of the value
};

namespace flatlink
{

const report_code *code_of_report(std::string_view format); // null for none
std::string_view code_of_fault(table_fault what);
const value_code &code_of_value(value_fault what);

} // namespace flatlink
