#include "tests/frag/tree_text.h"

#include "lib/frag/export/export.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/symbol.h"
#include "tests/fuzz/path_file.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <set>
#include <sstream>

using namespace flatlink;

// Takes the bytes up to one of `stops` off the text; a '\' makes the next byte a plain one.
static std::string take_until(std::string_view &text, std::string_view stops)
{
    std::string taken;
    while (!text.empty() && stops.find(text[0]) == std::string_view::npos) {
        text.remove_prefix(text[0] == '\\' ? 1 : 0);
        taken += text[0];
        text.remove_prefix(1);
    }
    return taken;
}

static bool take_byte(std::string_view &text, char byte)
{
    const bool is_there = text.starts_with(byte);
    text.remove_prefix(is_there ? 1 : 0);
    return is_there;
}

static frag *build_node(std::string_view &text, frag *parent);

static frag *build_list(std::string_view &text, frag *parent)
{
    frag *first = nullptr;
    for (frag **end = &first; !text.empty() && !take_byte(text, '}'); end = &(*end)->next) {
        *end = build_node(text, parent);
        take_byte(text, ' ');
    }
    return first;
}

static frag *build_node(std::string_view &text, frag *parent)
{
    frag *node = newsymfrag(take_until(text, "_(={} "));
    node->parent = parent;
    if (take_byte(text, '(')) {
        node->flags = static_cast<std::uint32_t>(std::stoi(take_until(text, ")")));
        take_byte(text, ')');
    }
    if (take_byte(text, '_')) {
        node->child = build_node(text, node);
        return node;
    }
    if (take_byte(text, '=')) {
        const bool is_quoted = take_byte(text, '\'');
        const std::string value = take_until(text, is_quoted ? "'" : "{} ");
        take_byte(text, '\'');
        set_frag_value(node, value.data(), value.size());
        if (is_quoted && take_byte(text, '/'))
            node->vlen = std::stoi(take_until(text, "{} "));
    }
    if (take_byte(text, '{'))
        node->child = build_list(text, node);
    return node;
}

built_tree::built_tree(std::string_view text)
{
    head = build_list(text, nullptr);
}

static std::string value_text(const frag *node)
{
    if (node->value == nullptr)
        return node->vlen == 0 ? "" : "/" + std::to_string(node->vlen);
    const std::size_t length = std::strlen(node->value);
    const auto counted = static_cast<std::size_t>(node->vlen);
    std::string value(node->value, std::max(length, counted));
    std::replace(value.begin(), value.end(), '\0', '~');
    if (counted != length)
        return "='" + value + "'/" + std::to_string(counted);
    return value.find_first_of(" \t\r\n'{}") == std::string::npos ? "=" + value
                                                                  : "='" + value + "'";
}

static std::string list_text(const frag *node, const frag *parent)
{
    std::string text;
    for (; node != nullptr; node = node->next) {
        for (const char *name = node->name; *name != '\0'; ++name)
            text += std::string(*name == '_' ? "\\" : "") + *name;
        if (node->parent != parent)
            text += "!parent";
        if (node->index != nullptr)
            text += "!index";
        if (const std::uint32_t flags = node->flags; flags != 0)
            text += "(" + std::to_string(flags) + ")";
        const std::string value = value_text(node);
        const frag *child = node->child;
        if (child != nullptr && child->next == nullptr && value.empty())
            text += "_" + list_text(child, node);
        else
            text += value + (child == nullptr ? "" : "{" + list_text(child, node) + "}");
        text += node->next == nullptr ? "" : " ";
    }
    return text;
}

std::string tree_text(const frag *head)
{
    return list_text(head, nullptr);
}

void expect_sound(frag **head)
{
    for (const auto &[list, parent] : lists_of(head)) {
        std::set<std::string> seen;
        for (frag *node = *list; node != nullptr; node = node->next) {
            EXPECT_EQ(node->parent, parent) << node->name;
            const bool is_first = seen.insert(node->name).second;
            EXPECT_TRUE(!is_first || find_in_list(list, node->name) == node) << node->name;
        }
        EXPECT_EQ(find_in_list(list, "no such name"), nullptr);
    }
}

std::string exported(frag **head, int version)
{
    const path_file file;
    cur_database = head;
    EXPECT_EQ(exportenv(file.path().c_str(), version), 0);
    cur_database = nullptr;
    return file.text();
}

std::multiset<std::string> lines_of(const std::string &text)
{
    std::istringstream stream(text);
    std::multiset<std::string> lines;
    for (std::string line; std::getline(stream, line);)
        lines.insert(line);
    return lines;
}
