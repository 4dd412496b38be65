#include "lib/ulib/name_table.h"

#include "lib/ulib/text.h"

using namespace flatlink;

static bool is_end(const name_num &row)
{
    return row.name.data() == nullptr;
}

std::int32_t parsenametonum(name_table table, std::string_view name)
{
    for (const name_num &row : table) {
        if (is_end(row))
            break;
        if (same_word(row.name, name))
            return row.number;
    }
    return 0;
}

std::string_view parsenumtoname(name_table table, std::int32_t number)
{
    for (const name_num &row : table) {
        if (is_end(row))
            break;
        if (row.number == number)
            return row.name;
    }
    return null_name;
}
