// Text for people. Whatever a file or a name holds, what is printed of it cannot drive a terminal.
#pragma once

#include <string>
#include <string_view>

// The bytes with everything that is not plain text spelled out: control bytes, DEL and the upper
// control range as \xNN, bytes above 0x9F as Latin-1 turned to UTF-8.
std::string shown(std::string_view bytes);

// The same, cut to so many bytes of input, with "..." where something is missing.
inline constexpr std::size_t SHOWN_LINE_MAX = 200;

namespace flatlink
{

std::string shown_line(std::string_view bytes);

} // namespace flatlink

// What a word in the output means; it carries the meaning without its colour too.
enum class ink { ERROR, WARNING, NOTE, CODE };

// Colours for one stream.
class palette
{
  public:
    // `choice` is never, always or auto: a terminal unless NO_COLOR or TERM=dumb says otherwise.
    palette(std::string_view choice, int fd);

    // The text in its colour, which the text ends; `text` is not escaped here.
    std::string painted(ink meaning, std::string_view text) const;

  private:
    bool is_on_;
};

namespace flatlink
{

// Write to the standard output, and a line of flatctl's own, after "flatctl: ", to the standard
// error stream. `text` is not escaped: the caller escapes text from outside.
void put(std::string_view text);
void tell(std::string_view text);

} // namespace flatlink
