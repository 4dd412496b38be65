#include "flatlink/records/numbered_line.h"

#include "flatlink/records/line.h"
#include "lib/ulib/text.h"

using namespace flatlink;

numbered_line flatlink::read_numbered_line(std::string_view rest)
{
    const std::size_t digits = rest.size() > 2 && rest[2] == '_' ? 2 : 4;
    numbered_line line;
    std::string_view number = rest.substr(0, digits);
    const std::size_t before = number.size();
    const long value = take_number(number);
    if (number.size() != before)
        line.number = static_cast<std::int32_t>(value);
    if (rest.size() > digits) {
        const line_parts parts = split_line(rest.substr(digits + 1));
        line.key = parts.key;
        line.value = parts.value;
    }
    return line;
}
