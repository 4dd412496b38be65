// Trees for tests: made by the import, shown with all that a node holds, in list order.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

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

// A list as one line: a blank between siblings, children in braces behind their parent, as in
// `a(1)="x" b{c="" d="y "/1}`. Flags are shown when set, and vlen when it is not the length of
// the text. "!parent" marks a wrong parent link, "!index" a trie. A NUL in a value shows as '~'.
std::string tree_text(const frag *head);
