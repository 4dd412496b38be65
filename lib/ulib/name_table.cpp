#include "lib/ulib/name_table.h"

#include "lib/ulib/text.h"

#include <algorithm>

using namespace flatlink;

static name_table rows_of(name_table table)
{
    const auto last = std::find_if(table.begin(), table.end(),
                                   [](const name_num &row) { return row.name.data() == nullptr; });
    return {table.begin(), last};
}

std::int32_t parsenametonum(name_table table, std::string_view name)
{
    for (const name_num &row : rows_of(table))
        if (same_word(row.name, name))
            return row.number;
    return 0;
}

std::string_view parsenumtoname(name_table table, std::int32_t number)
{
    for (const name_num &row : rows_of(table))
        if (row.number == number)
            return row.name;
    return null_name;
}
