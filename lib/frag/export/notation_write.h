// Writes the section and the tag notation of a configuration file so that the import reads the same
// tree: stored names, whole values, every node in its place. A caller finds what a notation cannot
// hold by reading the file back; copy_fit_for removes it.
#pragma once

#include <cstdio>

struct frag;

enum class notation { FLAT, SECTIONS, TAGS };

namespace flatlink
{

// Writes a list and all below it as sections: `[part\part]`, and below it a line for each value.
// A value at the top of the tree follows its bracket without a section. A node with neither value
// nor children is a section of its own.
// Cannot be held: access prefixes, which become part of the name; several siblings of one name;
// a backslash, CR or LF in a value; a name of more than NAME_PART_SIZE bytes, or with a byte that
// ends one.
// Returns 0, or 1 if a write fell short.
[[nodiscard]] int outsectionfile(std::FILE *stream, const frag *first);

// Writes a list and all below it as elements, attributes as the children of `attrs` that they are.
// Cannot be held: access prefixes, as above; an empty value of a node with children; white space
// at the start of a value, and '<' in it; a name of more than TAG_NAME_SIZE - 1 bytes, or with a
// byte that ends one.
// Returns 0, or 1 if a write fell short.
[[nodiscard]] int outtagfile(std::FILE *stream, const frag *first);

// A copy of a list and all below it without anything that the notation would misread: such bytes
// are escaped in names and left out of values, and names that are too long are cut. Order, number
// and access bits of the nodes are kept. The caller owns the copy.
frag *copy_fit_for(notation form, const frag *first);

// Makes values count to the end of their text, so that a writer keeps the white space at the end of
// a flat line.
void count_whole_values(frag *first);

} // namespace flatlink
