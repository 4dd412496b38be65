#include "tests/frag/tree_text.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "lib/frag/import.h"

void owned_tree::import(std::string_view file, int keep, std::size_t size)
{
    importer reader(&head, keep);
    if (size == 0)
        reader.feed(file);
    for (std::size_t pos = 0; size != 0 && pos < file.size(); pos += size) {
        // A block of its own for each piece, so that a look beyond its end does not go unseen.
        const std::vector<char> piece(
            file.begin() + static_cast<std::ptrdiff_t>(pos),
            file.begin() + static_cast<std::ptrdiff_t>(std::min(pos + size, file.size())));
        reader.feed({piece.data(), piece.size()});
    }
    reader.finish();
}

static std::string node_text(const frag *node, const frag *parent)
{
    std::string text = node->name;
    if (node->parent != parent)
        text += "!parent";
    if (node->index != nullptr)
        text += "!index";
    if (node->flags != 0)
        text += "(" + std::to_string(node->flags) + ")";
    if (node->value == nullptr)
        return node->vlen == 0 ? text : text + "/" + std::to_string(node->vlen);
    const std::size_t length = std::strlen(node->value);
    std::string value(node->value, std::max(length, static_cast<std::size_t>(node->vlen)));
    std::replace(value.begin(), value.end(), '\0', '~');
    text += "=\"" + value + "\"";
    if (static_cast<std::size_t>(node->vlen) != length)
        text += "/" + std::to_string(node->vlen);
    return text;
}

std::string tree_text(const frag *head)
{
    std::string text;
    struct open_list {
        const frag *node;
        const frag *parent;
    };
    std::vector<open_list> open{{head, nullptr}};
    while (!open.empty()) {
        open_list &list = open.back();
        const frag *node = list.node;
        if (node == nullptr) {
            open.pop_back();
            text += open.empty() ? "" : "}";
            continue;
        }
        if (!text.empty() && text.back() != '{')
            text += ' ';
        text += node_text(node, list.parent);
        list.node = node->next;
        if (node->child != nullptr) {
            text += '{';
            open.push_back({node->child, node});
        }
    }
    return text;
}
