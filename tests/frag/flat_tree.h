// Trees for tests as flat text: read by the import, listed node by node.
#pragma once

#include <string>
#include <string_view>

#include "lib/frag/frag.h"

// A tree that ends with the block that made it.
class flat_tree
{
  public:
    explicit flat_tree(std::string_view text);
    ~flat_tree() { free_fraglist(&head); }
    flat_tree(const flat_tree &) = delete;
    flat_tree &operator=(const flat_tree &) = delete;

    // One line a node in list order, each before its children: key=value, or the key alone for
    // a node with neither value nor children.
    std::string listing() const;

    // The same lines sorted.
    std::string sorted_listing() const;

    frag *head = nullptr;
};

// The lines of a text, sorted; all of them, or those of nodes with values.
enum class lines { all, with_values };
std::string sorted_lines(const std::string &text, lines wanted = lines::all);

// Fails the test if a parent link is wrong, or a look-up does not give the first of a name.
void expect_sound(frag **head);

// A pass over a tree, with the tree before and after it.
struct pass_case {
    const char *label;
    int (*pass)(frag **head);
    const char *before;
    const char *after;
};

void expect_passes(const pass_case *first, const pass_case *end);

template <std::size_t COUNT> void expect_passes(const pass_case (&cases)[COUNT])
{
    expect_passes(cases, cases + COUNT);
}
