// A text of bounded length that is built without locale and heap, and therefore in signal handlers
// too. What does not fit is dropped. Touches no more of its buffer than the text needs.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <iterator>
#include <string_view>

template <std::size_t size> class safe_text
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

    // To write the next part in place: end() is where it goes, room() is how many characters fit
    // before the NUL terminator, and extend() adds the `count` that were written.
    char *end() { return bytes_ + length_; }
    std::size_t room() const { return size - 1 - length_; }
    void extend(std::size_t count)
    {
        length_ += count;
        bytes_[length_] = '\0';
    }

  private:
    std::size_t length_ = 0;
    char bytes_[size];
};
