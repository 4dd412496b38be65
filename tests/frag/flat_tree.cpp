#include "tests/frag/flat_tree.h"

#include <algorithm>
#include <set>
#include <sstream>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "lib/frag/frag_name.h"
#include "lib/frag/import.h"
#include "lib/frag/name_index.h"

flat_tree::flat_tree(std::string_view text)
{
    importer reader(&head, 0);
    reader.feed(text);
    reader.finish();
}

std::string flat_tree::listing() const
{
    std::string text;
    std::vector<std::pair<const frag *, std::string>> open{{head, ""}};
    while (!open.empty()) {
        const auto [node, prefix] = open.back();
        open.pop_back();
        if (node == nullptr)
            continue;
        std::string key = prefix + std::string(shown_prefix(node)) + node->name;
        if (node->value != nullptr)
            text += key + "=" + std::string(node->value, static_cast<std::size_t>(node->vlen));
        else if (node->child == nullptr)
            text += key;
        if (node->value != nullptr || node->child == nullptr)
            text += "\n";
        open.emplace_back(node->next, prefix);
        if (node->child != nullptr)
            open.emplace_back(node->child, key + "_");
    }
    return text;
}

std::string sorted_lines(const std::string &text, lines wanted)
{
    std::istringstream stream(text);
    std::multiset<std::string> kept;
    for (std::string line; std::getline(stream, line);)
        if (wanted == lines::all || line.find('=') != std::string::npos)
            kept.insert(line);
    std::string sorted;
    for (const std::string &line : kept)
        sorted += line + "\n";
    return sorted;
}

std::string flat_tree::sorted_listing() const
{
    return sorted_lines(listing());
}

static void expect_sound_list(frag **list, const frag *parent)
{
    std::set<std::string> seen;
    for (frag *node = *list; node != nullptr; node = node->next) {
        EXPECT_EQ(node->parent, parent) << fragkeyname(node);
        if (seen.insert(node->name).second) {
            EXPECT_EQ(find_in_list(list, node->name), node) << fragkeyname(node);
        }
    }
    EXPECT_EQ(find_in_list(list, "no such name"), nullptr);
}

void expect_sound(frag **head)
{
    std::vector<std::pair<frag **, const frag *>> open{{head, nullptr}};
    while (!open.empty()) {
        const auto [list, parent] = open.back();
        open.pop_back();
        expect_sound_list(list, parent);
        for (frag *node = *list; node != nullptr; node = node->next)
            if (node->child != nullptr)
                open.emplace_back(&node->child, node);
    }
}

void expect_passes(const pass_case *first, const pass_case *end)
{
    for (const pass_case *row = first; row != end; ++row) {
        SCOPED_TRACE(row->label);
        flat_tree tree(row->before);
        row->pass(&tree.head);
        EXPECT_EQ(tree.listing(), row->after);
        expect_sound(&tree.head);
    }
}
