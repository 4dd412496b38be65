// Trees as one line of text, to build them and to see all that they hold. Siblings have a blank
// between them, children stand in braces behind their parent, and a child that is alone below a
// node without a value behind a '_': `a(1)=x b_c{d= e='two words' f='cut '/3}`. Flags are shown
// when set, and the counted length of a value when it is not that of the text. A '\' stands before
// a '_' that is part of a name, and a NUL in a value shows as '~'.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "lib/frag/frag.h"

// A tree that ends with the block that made it.
struct owned_tree {
    owned_tree() = default;
    explicit owned_tree(std::string_view file) { import(file); }
    ~owned_tree() { free_fraglist(&head); }
    owned_tree(const owned_tree &) = delete;
    owned_tree &operator=(const owned_tree &) = delete;

    // Imports a text in pieces of `size` bytes, the last one shorter; 0 means whole.
    void import(std::string_view file, int keep = 0, std::size_t size = 0);

    frag *head = nullptr;
};

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

// The lines of a text, sorted.
std::string sorted_lines(const std::string &text);

// A pass over a tree: the tree as it was and as it becomes.
struct pass_case {
    std::string label, before, after;
};

void expect_passes(const std::function<void(frag **head)> &pass,
                   const std::vector<pass_case> &cases);
