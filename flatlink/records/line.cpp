#include "flatlink/records/line.h"

#include "flatlink/records/record_watch.h"

#include <array>
#include <charconv>
#include <cstdarg>
#include <cstring>

using namespace flatlink;

std::FILE *fout = nullptr;

std::string flatlink::with_zeros(std::int32_t value, std::size_t least_digits)
{
    std::string digits = std::to_string(value < 0 ? -std::int64_t{value} : value);
    if (digits.size() < least_digits)
        digits.insert(0, least_digits - digits.size(), '0');
    return value < 0 ? "-" + digits : digits;
}

line_parts flatlink::split_line(std::string_view line)
{
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos)
        return {line, {}, false};
    return {line.substr(0, equals), line.substr(equals + 1), true};
}

std::string flatlink::make_line(std::string_view prefix, std::string_view key,
                                std::string_view value)
{
    std::string line;
    line.reserve(prefix.size() + key.size() + value.size() + 1);
    line.append(prefix).append(key).append(1, '=').append(value);
    if (line.size() >= LINE_SIZE) {
        line.resize(LINE_SIZE - 1);
        note_cut(line);
    }
    return line;
}

void flatlink::complain(const std::string &message)
{
    std::fprintf(stderr, "%s\n", message.c_str());
}

void condfprintf(std::FILE *stream, const char *format, ...)
{
    if (stream == nullptr)
        return;
    va_list args;
    va_start(args, format);
    std::vfprintf(stream, format, args);
    va_end(args);
    std::fflush(stream);
}

static bool takes_shortcut(std::FILE *stream, text_parts parts)
{
    return stream == shortcut.stream && shortcut.append(parts);
}

static void put_parts(std::FILE *stream, text_parts parts)
{
    for (const std::string_view part : parts)
        fwrite_unlocked(part.data(), 1, part.size(), stream);
}

void flatlink::trace_line(std::FILE *stream, text_parts parts)
{
    if (stream == nullptr || takes_shortcut(stream, parts))
        return;
    put_parts(stream, parts);
    fflush_unlocked(stream);
}

// Without a flush, unless what goes past the stream would overtake what is in its buffer.
static void put_in_order(std::FILE *stream, text_parts parts)
{
    if (takes_shortcut(stream, parts))
        return;
    put_parts(stream, parts);
    if (stream == shortcut.stream)
        fflush_unlocked(stream);
}

void flatlink::condfputs(std::FILE *stream, const char *before, const char *text, const char *after)
{
    if (stream != nullptr)
        put_in_order(stream, {before, text, after});
}

record_writer::record_writer(std::FILE *stream, std::string_view prefix)
    : stream_(stream), prefix_(prefix)
{
}

record_writer::~record_writer()
{
    flush();
}

void record_writer::flush() const
{
    if (size_ > 0)
        put_in_order(stream_, {{lines_.data(), size_}});
    size_ = 0;
}

// A call of the stream for each line would take most of the time of a save.
void record_writer::text(std::string_view key, std::string_view value) const
{
    const std::size_t size = prefix_.size() + key.size() + value.size() + 2;
    if (size > lines_.size() - size_)
        flush();
    if (size > lines_.size())
        return put_in_order(stream_, {prefix_, key, "=", value, "\n"});
    char *to = lines_.data() + size_;
    const auto put = [&to](std::string_view part) {
        std::memcpy(to, part.data(), part.size());
        to += part.size();
    };
    put(prefix_);
    put(key);
    *to++ = '=';
    put(value);
    *to = '\n';
    size_ += size;
}

std::string flatlink::numbered(std::string_view name, std::int64_t number)
{
    return std::string(name) + "_" + std::to_string(number) + "_";
}

std::string flatlink::numbered_padded(std::string_view name, std::int32_t number)
{
    return std::string(name) + "_" + with_zeros(number, 4) + "_";
}

std::string flatlink::hex_text(u32 value)
{
    std::array<char, 8> digits;
    const auto end = std::to_chars(digits.begin(), digits.end(), value, 16).ptr;
    return std::string(digits.begin(), end);
}
