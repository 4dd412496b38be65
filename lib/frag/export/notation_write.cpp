#include "lib/frag/export/notation_write.h"

#include "lib/frag/import/import.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_text.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

using namespace flatlink;

static void put(std::FILE *stream, std::string_view text)
{
    std::fwrite(text.data(), 1, text.size(), stream); // the stream keeps a failure in mind
}

// All bytes of a value, including those beyond its counted length.
static std::string_view whole_value(const frag *node)
{
    const auto counted = static_cast<std::size_t>(std::max(node->vlen, 0));
    return {node->value, std::max(counted, std::strlen(node->value))};
}

// ---- sections

namespace
{

class section_writer
{
  public:
    explicit section_writer(std::FILE *stream) : stream_(stream) {}

    // `path` is that of the node's section, without a separator at its end.
    void node(const frag *node, std::string_view path)
    {
        if (node->value != nullptr) {
            enter(path);
            put(stream_, shown_prefix(node));
            put(stream_, node->name);
            put(stream_, "=");
            put(stream_, whole_value(node));
            put(stream_, "\n");
        } else if (node->child == nullptr) {
            std::string own(path);
            own += path.empty() ? "" : "\\";
            own += shown_prefix(node);
            enter(own += node->name);
        }
    }

  private:
    // A bracket starts again at the top of the tree; an empty one stays there.
    void enter(std::string_view path)
    {
        if (is_begun_ && path == position_)
            return;
        put(stream_, is_begun_ ? "\n[" : "[");
        put(stream_, path);
        put(stream_, path.empty() ? "" : "]\n");
        position_ = path;
        is_begun_ = true;
    }

    std::FILE *stream_;
    std::string position_;
    bool is_begun_ = false;
};

} // namespace

int flatlink::outsectionfile(std::FILE *stream, const frag *first)
{
    section_writer out(stream);
    std::string path;
    struct level {
        const frag *node;
        std::size_t path_length;
    };
    std::vector<level> open{{first, 0}};
    while (!open.empty()) {
        const auto [node, length] = open.back();
        if (node == nullptr) {
            open.pop_back();
            continue;
        }
        open.back().node = node->next;
        path.resize(length);
        out.node(node, path);
        if (node->child == nullptr)
            continue;
        path += path.empty() ? "" : "\\";
        path += shown_prefix(node);
        path += node->name;
        open.push_back({node->child, path.size()});
    }
    return std::ferror(stream) != 0 ? 1 : 0;
}

// ---- tags

// The name in a tag, where a '_' stands for its escape.
static std::string tag_of(const frag *node)
{
    constexpr std::string_view ESCAPE = "%5F";
    std::string name(shown_prefix(node));
    for (std::string_view rest = node->name; !rest.empty();) {
        const bool is_escape = rest.starts_with(ESCAPE);
        name += is_escape ? '_' : rest[0];
        rest.remove_prefix(is_escape ? ESCAPE.size() : 1);
    }
    return name;
}

static void put_line_start(std::FILE *stream, std::size_t depth)
{
    constexpr std::size_t DEEPEST = 40; // elements below are not indented further
    static const std::string blanks(2 * DEEPEST, ' ');
    put(stream, std::string_view(blanks).substr(0, 2 * std::min(depth, DEEPEST)));
}

// Writes an element up to its first child, or all of it without children. No white space goes
// between a value and the first child: it would become part of the value.
static void put_start(std::FILE *stream, const frag *node)
{
    const std::string tag = tag_of(node);
    put(stream, "<" + tag);
    if (node->value == nullptr && node->child == nullptr) {
        put(stream, "/>\n");
        return;
    }
    put(stream, ">");
    if (node->value != nullptr)
        put(stream, whole_value(node));
    if (node->child == nullptr)
        put(stream, "</" + tag + ">\n");
    else if (node->value == nullptr)
        put(stream, "\n");
}

int flatlink::outtagfile(std::FILE *stream, const frag *first)
{
    std::vector<const frag *> open;
    bool is_line_start = true;
    for (const frag *node = first; node != nullptr || !open.empty();) {
        if (node == nullptr) {
            node = open.back();
            open.pop_back();
            put_line_start(stream, open.size());
            put(stream, "</" + tag_of(node) + ">\n");
            node = node->next;
            continue;
        }
        if (is_line_start)
            put_line_start(stream, open.size());
        put_start(stream, node);
        is_line_start = node->value == nullptr || node->child == nullptr;
        if (node->child == nullptr) {
            node = node->next;
        } else {
            open.push_back(node);
            node = node->child;
        }
    }
    return std::ferror(stream) != 0 ? 1 : 0;
}

// ---- what a notation cannot hold

namespace
{

struct notation_row {
    notation form;
    std::string_view not_in_names; // nor white space at their start
    std::string_view not_in_front; // of a name
    std::string_view not_in_values;
    std::size_t longest_name;
};

constexpr notation_row notation_rows[] = {
    {notation::FLAT, "_=\r\n", "[<", "\r\n", NAME_PART_SIZE - 1},
    {notation::SECTIONS, "_=\\]\r\n", "[", "\\\r\n", NAME_PART_SIZE},
    {notation::TAGS, "_> \t<", "/!", "<", TAG_NAME_SIZE - 1}, // the '/' of the end tag counts
};

std::string fitting_name(const frag *node, const notation_row &row)
{
    constexpr const char *DIGITS = "0123456789ABCDEF";
    const std::string_view name = node->name;
    const std::size_t room =
        row.longest_name - std::min(shown_prefix(node).size(), row.longest_name);
    std::string fitting;
    for (std::size_t i = 0; i < name.size(); ++i) {
        const char c = name[i];
        const bool is_edge = i == 0 || i + 1 == name.size();
        const bool is_taken = row.not_in_names.find(c) != std::string_view::npos ||
                              (is_edge && row.not_in_front.find(c) != std::string_view::npos) ||
                              (is_edge && is_wscrlf(c));
        std::string part(1, c);
        if (is_taken) {
            const auto byte = static_cast<unsigned char>(c);
            part = {'%', DIGITS[byte >> 4], DIGITS[byte & 15]};
        }
        if (fitting.size() + part.size() > room)
            break;
        fitting += part;
    }
    return fitting;
}

std::string fitting_value(const frag *node, const notation_row &row)
{
    std::string fitting(whole_value(node));
    std::erase_if(fitting,
                  [&](char c) { return row.not_in_values.find(c) != std::string_view::npos; });
    if (row.form == notation::TAGS)
        fitting.erase(0, std::min(fitting.find_first_not_of(" \t\r\n"), fitting.size()));
    return fitting;
}

frag *copy_node(const frag *from, const notation_row &row, frag *parent)
{
    frag *made = newsymfrag(fitting_name(from, row));
    made->parent = parent;
    made->flags = from->flags;
    if (from->value == nullptr)
        return made;
    const std::string value = fitting_value(from, row);
    if (row.form != notation::TAGS || from->child == nullptr || !value.empty())
        set_frag_value(made, value.data(), value.size());
    return made;
}

} // namespace

frag *flatlink::copy_fit_for(notation form, const frag *first)
{
    const auto *row = std::ranges::find(notation_rows, form, &notation_row::form);
    frag *copy = nullptr;
    struct list {
        const frag *from;
        frag **to;
        frag *parent;
    };
    std::vector<list> open{{first, &copy, nullptr}};
    while (!open.empty()) {
        auto [from, to, parent] = open.back();
        open.pop_back();
        for (; from != nullptr; from = from->next) {
            *to = copy_node(from, *row, parent);
            if (from->child != nullptr)
                open.push_back({from->child, &(*to)->child, *to});
            to = &(*to)->next;
        }
    }
    return copy;
}

void flatlink::count_whole_values(frag *first)
{
    std::vector<frag *> open{first};
    while (!open.empty()) {
        frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            if (node->value != nullptr)
                node->vlen = static_cast<std::int32_t>(whole_value(node).size());
            if (node->child != nullptr)
                open.push_back(node->child);
        }
    }
}
