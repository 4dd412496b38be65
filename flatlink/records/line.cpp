#include "flatlink/records/line.h"

#include "flatlink/records/record_watch.h"

#include <array>
#include <charconv>
#include <cstdarg>

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
    line.append(prefix);
    remake_line(line, prefix.size(), key, value);
    return line;
}

void flatlink::remake_line(std::string &line, std::size_t prefix_size, std::string_view key,
                           std::string_view value)
{
    line.resize(prefix_size);
    line.append(key).append(1, '=').append(value);
    if (line.size() >= LINE_SIZE) {
        line.resize(LINE_SIZE - 1);
        note_cut(line);
    }
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

void flatlink::condfputs(std::FILE *stream, const char *before, const char *text, const char *after)
{
    const text_parts parts{before, text, after};
    if (stream == nullptr || takes_shortcut(stream, parts))
        return;
    put_parts(stream, parts);
    if (stream == shortcut.stream)
        fflush_unlocked(stream);
}

record_writer::record_writer(std::FILE *stream, std::string prefix)
    : stream_(stream), line_(std::move(prefix)), prefix_size_(line_.size())
{
}

// A call of the stream for each part of a line would take most of the time of a save.
void record_writer::text(std::string_view key, std::string_view value) const
{
    line_.resize(prefix_size_);
    line_.append(key).append(1, '=').append(value).append(1, '\n');
    fwrite_unlocked(line_.data(), 1, line_.size(), stream_);
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
