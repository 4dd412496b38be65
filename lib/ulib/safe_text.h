// A text of bounded length that is put together without locale and heap, so that a signal handler
// may do it at any instant. What does not fit is left out. Never touches more of its buffer than
// the text takes.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <string_view>

template <std::size_t SIZE> class safe_text
{
  public:
    safe_text() { bytes_[0] = '\0'; }

    safe_text &operator<<(std::string_view part)
    {
        const std::size_t count = std::min(part.size(), room());
        std::copy_n(part.data(), count, end());
        extend(count);
        return *this;
    }
    safe_text &operator<<(int number)
    {
        char digits[16];
        const auto last = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
        const auto count = static_cast<std::size_t>(last - digits);
        return *this << std::string_view(digits, std::min(count, sizeof digits));
    }

    std::string_view view() const { return {bytes_, length_}; }
    const char *c_str() const { return bytes_; }

    // For those who write the next part themselves: where it goes, how many characters fit in front
    // of the terminator, and that `count` of them are there.
    char *end() { return bytes_ + length_; }
    std::size_t room() const { return SIZE - 1 - length_; }
    void extend(std::size_t count)
    {
        length_ += count;
        bytes_[length_] = '\0';
    }

  private:
    std::size_t length_ = 0;
    char bytes_[SIZE];
};
