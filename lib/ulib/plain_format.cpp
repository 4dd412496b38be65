#include "lib/ulib/plain_format.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <iterator>
#include <string_view>

using namespace flatlink;

static bool is_plain(const char *format)
{
    while ((format = std::strchr(format, '%')) != nullptr) {
        const char conversion = format[1];
        if (conversion != 's' && conversion != 'd' && conversion != '%')
            return false;
        format += 2;
    }
    return true;
}

namespace
{

struct output {
    char *next;
    char *end; // of the room for text

    void add(std::string_view text)
    {
        const auto room = static_cast<std::size_t>(end - next);
        next = std::copy_n(text.data(), std::min(text.size(), room), next);
    }
    void add(int number)
    {
        char digits[16];
        add({digits, std::to_chars(digits, std::end(digits), number).ptr});
    }
};

} // namespace

bool flatlink::format_plain(char *buffer, std::size_t size, const char *format, va_list args)
{
    if (!is_plain(format))
        return false;
    output out{buffer, buffer + size - 1};
    while (const char *percent = std::strchr(format, '%')) {
        out.add({format, percent});
        if (percent[1] == 's') {
            const char *text = va_arg(args, const char *);
            out.add(text == nullptr ? "(null)" : std::string_view(text));
        } else if (percent[1] == 'd') {
            out.add(va_arg(args, int));
        } else {
            out.add("%");
        }
        format = percent + 2;
    }
    out.add(format);
    *out.next = '\0';
    return true;
}
