// A tree of a target's own, and what holds for every sound tree.
#pragma once

#include "lib/frag/import/import.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/name_index.h"
#include "tests/fuzz/must.h"

#include <cstddef>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <vector>

struct owned_tree {
    owned_tree() = default;
    explicit owned_tree(std::string_view text) { import(text); }
    ~owned_tree() { flatlink::free_fraglist(&head); }
    owned_tree(const owned_tree &) = delete;
    owned_tree &operator=(const owned_tree &) = delete;

    void import(std::string_view text, int keep = 0,
                std::size_t piece_size = std::string_view::npos)
    {
        flatlink::importer reader(&head, keep);
        while (!text.empty()) {
            // A block of its own, so that a look beyond the piece does not go unseen.
            const std::string_view view = text.substr(0, piece_size);
            const std::vector<char> piece(view.begin(), view.end());
            reader.feed({piece.data(), piece.size()});
            text.remove_prefix(view.size());
        }
        reader.finish();
    }

    frag *head = nullptr;
};

// Every list of a tree with the node above it.
inline std::vector<std::pair<frag **, frag *>> lists_of(frag **head)
{
    std::vector<std::pair<frag **, frag *>> lists{{head, nullptr}};
    for (std::size_t pos = 0; pos < lists.size(); ++pos)
        for (frag *node = *lists[pos].first; node != nullptr; node = node->next)
            if (node->child != nullptr)
                lists.emplace_back(&node->child, node);
    return lists;
}

// Parents are right, values have their room, nothing of an import is left behind, and each name
// leads to its first node.
inline void check_list(frag **list, const frag *parent)
{
    std::unordered_set<std::string_view> seen;
    for (frag *node = *list; node != nullptr; node = node->next) {
        must(node->parent == parent, "a wrong parent");
        must(node->index == nullptr, "a trie left behind");
        must((node->flags & FRAG_COUNT_MASK) == 0, "a count left behind");
        must(node->value != nullptr ? node->vlen >= 0 : node->vlen == 0, "a wrong length");
        // Room for the counted bytes and a NUL terminator, or the sanitizer says so.
        if (node->value != nullptr)
            node->value[node->vlen] = std::exchange(node->value[node->vlen], '\0');
        if (seen.insert(node->name).second)
            must(flatlink::find_in_list(list, node->name) == node, "a name that is not found");
        (void)fragname(node);
    }
}

inline void check_tree(frag **head)
{
    for (const auto &[list, parent] : lists_of(head))
        check_list(list, parent);
}
