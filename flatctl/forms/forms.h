// The forms that a database can be written in, each with the way back from it.
#pragma once

#include "flatctl/forms/tree_diff.h"

#include <cstdio>
#include <span>
#include <string>
#include <string_view>

struct frag;
struct input_facts;

struct form_row {
    std::string_view name;
    bool is_tree;  // holds a whole configuration, and not what follows from it
    bool rebuilds; // lists are ordered and counted in its own way
};

namespace flatlink
{

extern const std::span<const std::string_view> form_names;
const form_row *find_form(std::string_view name); // null for none

// Reads a database in any notation and layout, or an XML document, into the default tree, in the
// current layout, with values counted to their end. Returns 0, or the errno of a read that failed.
//   facts  gets notation and layout as they were; may be null
[[nodiscard]] int load_any_form(int fd, input_facts *facts = nullptr);

// Writes the default tree, or what follows from it, which stays as it is but for nodes that the
// derivation adds.
//   is_fitted  leave out what the form would read as something else
std::string text_in_form(const form_row &form, bool is_fitted);

// What the text does not hold of the default tree, or of its own records, when it is read back.
tree_comparison compare_with_text(const form_row &form, std::string_view text, std::size_t most);

} // namespace flatlink
