// A target's input, taken off piece by piece; what is missing is 0 or empty.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct input_bytes {
    std::string_view left;

    input_bytes(const std::uint8_t *data, std::size_t size)
        : left(reinterpret_cast<const char *>(data), size)
    {
    }

    std::uint8_t byte()
    {
        const auto first = static_cast<std::uint8_t>(left.empty() ? 0 : left.front());
        left.remove_prefix(left.empty() ? 0 : 1);
        return first;
    }

    int below(int limit) { return byte() % limit; } // 0 to limit - 1

    // Up to the next `end`, which is taken too.
    std::string until(char end)
    {
        const std::string piece(left.substr(0, left.find(end)));
        left.remove_prefix(std::min(left.size(), piece.size() + 1));
        return piece;
    }
};
