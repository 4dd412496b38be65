// Writes a tree as XML. Each node is an element: its name as fragname shows it, the children of
// its `attrs` as attributes, its value as text, its other children indented below it. Values
// are written as they are: one with '<', '&' or '"' does not read back.
#pragma once

#include <cstdio>

struct frag;

inline constexpr int DEEPEST_INDENTATION = 41; // blanks; elements below are not indented further

// Writes a list and all below it. Moves `attrs` to the front of its siblings.
//   depth  blanks before the elements of the list
// Returns 0, or 1 if a write fell short.
[[nodiscard]] int outxmlfile(std::FILE *stream, frag *first, int depth);

namespace flatlink
{

// Writes a tree as a whole document; converts it to the XML layout first. Returns as outxmlfile
// does.
[[nodiscard]] int write_xml_document(std::FILE *stream, frag **head);

} // namespace flatlink
