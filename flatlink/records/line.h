// Shared by all line parsers and writers: splitting a line, messages, the trace, and writing the
// lines of one record.
#pragma once

#include "lib/ulib/address.h"

#include <array>
#include <cstdio>
#include <initializer_list>
#include <string>
#include <string_view>

// Room for one line that a loader hands to a parser, its NUL terminator included; more is cut.
inline constexpr std::size_t LINE_SIZE = 8192;

// The parts of key=value. The value runs to the end and may hold further equals signs.
struct line_parts {
    std::string_view key;
    std::string_view value;
    bool has_equals = false;
};

namespace flatlink
{

// Cuts at the first equals sign. The parts live as long as `line`.
line_parts split_line(std::string_view line);

// key=value after a prefix, cut to LINE_SIZE - 1 bytes.
std::string make_line(std::string_view prefix, std::string_view key, std::string_view value);

// Writes a message with a newline to the standard error stream.
void complain(const std::string &message);

} // namespace flatlink

// Formatted output with a flush; nothing for a null stream. The trace of a run goes this way.
void condfprintf(std::FILE *stream, const char *format, ...) __attribute__((format(printf, 2, 3)));

namespace flatlink
{

using text_parts = std::initializer_list<std::string_view>;

// Writes a line of the trace made of some parts, its newline included, and flushes; nothing for a
// null stream. For the lines of links, of which there may be a million: printf would take most of
// their time.
void trace_line(std::FILE *stream, text_parts parts);

// A way into the file of a stream that is shorter than the stream. While it is set, what is traced
// to the stream leaves nothing in its buffer.
struct trace_shortcut {
    std::FILE *stream = nullptr;                // null: there is none
    bool (*append)(text_parts parts) = nullptr; // false: not written, the stream must be used
};
inline trace_shortcut shortcut;

// The same for a text between two others, without the flush unless there is a shortcut. For lines
// that come by the million: they stay in the stream's buffer until another call flushes.
void condfputs(std::FILE *stream, const char *before, const char *text, const char *after);

} // namespace flatlink

// The stream of the trace and of the next save; null: no trace, and the save opens a file.
extern std::FILE *fout;

namespace flatlink
{

// Collects the lines of one record, each with the record's prefix, and writes them at its end.
class record_writer
{
  public:
    // `prefix` precedes each key, for example "vlink_3_".
    record_writer(std::FILE *stream, std::string_view prefix);
    ~record_writer();
    record_writer(const record_writer &) = delete;
    record_writer &operator=(const record_writer &) = delete;

    void text(std::string_view key, std::string_view value) const;

  private:
    void flush() const;

    std::FILE *stream_;
    std::string prefix_;
    mutable std::size_t size_ = 0;
    mutable std::array<char, 2048> lines_; // the first `size_` bytes; most links have less
};

// "NAME_N_", the prefix of a numbered record, and the same with at least four digits.
std::string numbered(std::string_view name, std::int64_t number);
std::string numbered_padded(std::string_view name, std::int32_t number);

// A decimal number padded with zeros to that many digits, not counting a sign.
std::string with_zeros(std::int32_t value, std::size_t least_digits);

// A number in hexadecimal digits, without leading zeros.
std::string hex_text(u32 value);

} // namespace flatlink
