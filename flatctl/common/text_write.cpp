#include "flatctl/common/text_write.h"

#include "flatctl/common/progress.h"
#include "lib/ulib/text.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

using namespace flatlink;

static constexpr unsigned FIRST_PLAIN = 0x20;
static constexpr unsigned DELETE = 0x7F; // and the upper control range after it, up to
static constexpr unsigned FIRST_LATIN = 0xA0;

static void append_hex(std::string &text, unsigned byte)
{
    constexpr const char *DIGITS = "0123456789abcdef";
    text += "\\x";
    text += DIGITS[byte >> 4];
    text += DIGITS[byte & 15];
}

std::string shown(std::string_view bytes)
{
    std::string text;
    text.reserve(bytes.size());
    for (const char c : bytes) {
        const unsigned byte = static_cast<unsigned char>(c);
        if (byte >= FIRST_LATIN) {
            text += static_cast<char>(0xC0 | byte >> 6);
            text += static_cast<char>(0x80 | (byte & 0x3F));
        } else if (byte < FIRST_PLAIN || byte >= DELETE) {
            append_hex(text, byte);
        } else {
            text += c;
        }
    }
    return text;
}

std::string flatlink::shown_line(std::string_view bytes)
{
    if (bytes.size() <= SHOWN_LINE_MAX)
        return shown(bytes);
    return shown(bytes.substr(0, SHOWN_LINE_MAX)) + "...";
}

palette::palette(std::string_view choice, int fd)
{
    const bool is_unwanted = !text_of(std::getenv("NO_COLOR")).empty() ||
                             text_of(std::getenv("TERM")) == "dumb" || isatty(fd) == 0;
    is_on_ = choice == "always" || (choice == "auto" && !is_unwanted);
}

std::string palette::painted(ink meaning, std::string_view text) const
{
    constexpr const char *starts[] = {"\033[1;31m", "\033[1;33m", "\033[1;36m", "\033[1m"};
    if (!is_on_)
        return std::string(text);
    return std::string(starts[static_cast<int>(meaning)]).append(text).append("\033[0m");
}

void flatlink::put(std::string_view text)
{
    erase_progress();
    std::fwrite(text.data(), 1, text.size(), stdout); // the stream keeps a failure in mind
}

void flatlink::tell(std::string_view text)
{
    erase_progress();
    std::fflush(stdout);
    std::fprintf(stderr, "flatctl: %.*s\n", static_cast<int>(text.size()), text.data());
}
