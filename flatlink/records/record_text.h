// A text in a record, half as large as a std::string: a link has 25 of them, most of them empty,
// and the pages of 65,535 links take a run more time than what is done with them.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <new>
#include <string_view>
#include <utility>

namespace flatlink
{

class record_text
{
  public:
    record_text() = default;
    explicit record_text(std::string_view text);
    record_text(const record_text &other) : record_text(std::string_view(other)) {}
    record_text(record_text &&other) noexcept : bytes_(std::exchange(other.bytes_, {})) {}
    ~record_text() { ::operator delete(block()); }

    // If memory is exhausted, throws bad_alloc and keeps the old text.
    record_text &operator=(record_text other) noexcept
    {
        bytes_.swap(other.bytes_);
        return *this;
    }
    record_text &operator=(std::string_view text) { return *this = record_text(text); }

    // Valid until the text changes or moves.
    operator std::string_view() const
    {
        if (!is_outside())
            return {bytes_.data(), static_cast<std::size_t>(bytes_[INSIDE])};
        std::size_t size = 0;
        std::memcpy(&size, block(), sizeof size);
        return {block() + sizeof size, size};
    }

    bool empty() const { return bytes_[INSIDE] == 0; }
    void clear() { *this = record_text(); }

    friend bool operator==(const record_text &a, const record_text &b)
    {
        return a.bytes_ == b.bytes_ || (a.is_outside() && std::string_view(a) == b);
    }
    friend bool operator==(const record_text &a, std::string_view b)
    {
        return std::string_view(a) == b;
    }

    std::size_t hash() const
    {
        if (is_outside())
            return std::hash<std::string_view>()(*this);
        constexpr std::uint64_t SPREAD = 0x9E3779B97F4A7C15ULL; // 2^64 over the golden ratio
        std::uint64_t words[2];
        std::memcpy(words, bytes_.data(), sizeof words);
        const std::uint64_t first = words[0] * SPREAD;
        return (first ^ first >> 32 ^ words[1]) * SPREAD;
    }

  private:
    static constexpr std::size_t INSIDE = 15; // bytes of the longest text that lies in the object
    static constexpr char OUTSIDE = 16;

    bool is_outside() const { return bytes_[INSIDE] == OUTSIDE; }

    // The size of a longer text, and the text; null if it lies inside.
    char *block() const
    {
        char *found = nullptr;
        if (is_outside())
            std::memcpy(&found, bytes_.data(), sizeof found);
        return found;
    }

    // The text and zeros, then its size; or a pointer to its block, then OUTSIDE.
    alignas(char *) std::array<char, INSIDE + 1> bytes_{};
};

inline record_text::record_text(std::string_view text)
{
    if (text.size() <= INSIDE) {
        std::copy(text.begin(), text.end(), bytes_.begin());
        bytes_[INSIDE] = static_cast<char>(text.size());
        return;
    }
    const std::size_t size = text.size();
    auto *block = static_cast<char *>(::operator new(sizeof size + size));
    std::memcpy(block, &size, sizeof size);
    std::copy(text.begin(), text.end(), block + sizeof size);
    std::memcpy(bytes_.data(), &block, sizeof block);
    bytes_[INSIDE] = OUTSIDE;
}

} // namespace flatlink

template <> struct std::hash<flatlink::record_text> {
    std::size_t operator()(const flatlink::record_text &text) const { return text.hash(); }
};
