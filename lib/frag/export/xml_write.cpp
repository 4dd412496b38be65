#include "lib/frag/export/xml_write.h"

#include "lib/frag/export/xml_layout.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

using namespace flatlink;

static void put(std::FILE *stream, std::string_view text)
{
    if (!text.empty())
        std::fwrite(text.data(), 1, text.size(), stream); // the stream keeps a failure in mind
}

static void put_indentation(std::FILE *stream, std::size_t depth)
{
    static const std::string blanks(DEEPEST_INDENTATION, ' ');
    put(stream, std::string_view(blanks).substr(0, depth));
}

static void put_end_tag(std::FILE *stream, const frag *node)
{
    put(stream, "</");
    put(stream, fragname(node));
    put(stream, ">\n");
}

static void put_attributes(std::FILE *stream, const frag *attrs)
{
    for (const frag *attribute = attrs->child; attribute != nullptr; attribute = attribute->next) {
        put(stream, " ");
        put(stream, fragname(attribute));
        put(stream, "=\"");
        put(stream, text_of(attribute->value));
        put(stream, "\"");
    }
}

// Writes an element up to its first child, and whole if it has none. Returns that child.
static frag *put_element(std::FILE *stream, frag *node, std::size_t depth)
{
    put_indentation(stream, depth);
    put(stream, "<");
    put(stream, fragname(node));
    frag *children = node->child;
    if (frag *attrs = fdel(&node->child, "attrs")) {
        put_attributes(stream, attrs);
        children = node->child;
        push_child(node, attrs);
    }
    if (node->value == nullptr && children == nullptr) {
        put(stream, "/>\n");
        return nullptr;
    }
    put(stream, ">");
    if (node->value != nullptr)
        put(stream, {node->value, static_cast<std::size_t>(node->vlen)});
    if (children == nullptr)
        put_end_tag(stream, node);
    else
        put(stream, "\n");
    return children;
}

int outxmlfile(std::FILE *stream, frag *first, int depth)
{
    std::vector<frag *> open;
    const auto base = static_cast<std::size_t>(std::max(depth, 0));
    for (frag *node = first; node != nullptr || !open.empty();) {
        if (node == nullptr) {
            node = open.back();
            open.pop_back();
            put_indentation(stream, base + open.size());
            put_end_tag(stream, node);
            node = node->next;
            continue;
        }
        frag *children = put_element(stream, node, base + open.size());
        if (children == nullptr) {
            node = node->next;
        } else {
            open.push_back(node);
            node = children;
        }
    }
    return std::ferror(stream) != 0 ? 1 : 0;
}

int flatlink::write_xml_document(std::FILE *stream, frag **head)
{
    constexpr int TREE_DEPTH = 2;
    put(stream, "<?xml version=\"1.0\"?>\n<varnholt.conf>\n");
    shape_for_xml(head);
    const int result = outxmlfile(stream, *head, TREE_DEPTH);
    put(stream, "</varnholt.conf>\n");
    return std::ferror(stream) != 0 ? 1 : result;
}
