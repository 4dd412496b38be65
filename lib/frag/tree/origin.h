// Where the value of a node came from: for programs that explain a database. The conversion does
// not need it.
//
// An import notes for each value the line of its file on which the value begins, and the notation.
// Copies of a node keep both. In the passes that bring a tree to the current layout, a value that
// is derived from another gets its origin; a node without an origin that is named by a value gets
// that value's. A value that the program sets has none.
#pragma once

#include "lib/frag/tree/frag.h"

#include <cstdint>

enum class frag_notation : std::uint32_t {
    NONE = 0, // set by the program
    FLAT = 1,
    SECTION = 2,
    TAGS = 3, // the text of an element, or an attribute's value
};

inline constexpr std::int32_t LAST_ORIGIN_LINE = (1 << 29) - 1; // stands for all later lines too

namespace flatlink
{

// frag::origin for a line counted from 1.
constexpr std::uint32_t make_origin(std::int32_t line, frag_notation notation)
{
    return static_cast<std::uint32_t>(line) | static_cast<std::uint32_t>(notation) << 29;
}

inline void set_origin(frag *node, std::uint32_t origin)
{
    node->origin = origin & 0x7FFFFFFF;
}

// The line, counted from 1, on which the node's value begins; 0 for a value that the program set.
// An element without text of its own has the line of its start tag.
constexpr std::int32_t origin_line(const frag *node)
{
    return static_cast<std::int32_t>(node->origin & LAST_ORIGIN_LINE);
}

constexpr frag_notation origin_notation(const frag *node)
{
    return static_cast<frag_notation>(node->origin >> 29);
}

// Notes that the node's value, or its name, was derived from the value of `source`. A node that has
// an origin keeps it.
void take_origin(frag *node, const frag *source);

} // namespace flatlink
