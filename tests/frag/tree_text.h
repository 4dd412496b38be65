// Trees as one line of text, to build them and to see all that they hold. Siblings have a blank
// between them, children stand in braces after their parent, and a child that is alone below a
// node without a value after a '_': `a(1)=x b_c{d= e='two words' f='cut '/3}`. Flags are shown
// when set, and the counted length of a value when it is not that of the text. A '\' stands before
// a '_' that is part of a name, and a NUL in a value shows as '~'.
#pragma once

#include "lib/frag/tree/frag.h"
#include "tests/fuzz/tree_checks.h"

#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// A tree made of its text.
struct built_tree : owned_tree {
    explicit built_tree(std::string_view text);
};

// The text of a list. "!parent" marks a wrong parent link, "!index" a trie that was left.
std::string tree_text(const frag *head);

// Fails the test if a parent link is wrong, or a look-up does not give the first of a name.
void expect_sound(frag **head);

// The file that exportenv writes of a tree.
std::string exported(frag **head, int version);

// The lines of a text, in whatever order.
std::multiset<std::string> lines_of(const std::string &text);
