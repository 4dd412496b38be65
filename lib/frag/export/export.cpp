#include "lib/frag/export/export.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "lib/frag/export/xml_write.h"
#include "lib/frag/layout/norm41.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/symbol.h"

static bool write_bytes(std::FILE *stream, const char *bytes, std::size_t length)
{
    return std::fwrite(bytes, 1, length, stream) == length;
}

// The line's end takes the place behind the counted bytes, and a NUL takes it again.
static bool write_value(std::FILE *stream, frag *node)
{
    const auto length = static_cast<std::size_t>(node->vlen);
    node->value[length] = '\n';
    const bool is_written = write_bytes(stream, node->value, length + 1);
    node->value[length] = '\0';
    return is_written;
}

int outffile(std::FILE *stream, frag *first, int /*version*/, int position)
{
    std::string key;
    if (position > 0 && first != nullptr && first->parent != nullptr)
        key = std::string(fragkeyname(first->parent)) + "_";
    key.resize(static_cast<std::size_t>(position));

    std::vector<std::pair<frag *, std::size_t>> open{{first, key.size()}};
    while (!open.empty()) {
        const auto [node, above] = open.back();
        if (node == nullptr) {
            open.pop_back();
            continue;
        }
        open.back().first = node->next;
        key.resize(above);
        key += shown_prefix(node);
        key += attr_revmap(node->name);
        const std::size_t length = key.size();
        key += '=';
        if (node->value != nullptr)
            if (!write_bytes(stream, key.data(), key.size()) || !write_value(stream, node))
                return 1;
        key[length] = '_';
        if (node->child != nullptr && length < LONGEST_PARENT_KEY)
            open.emplace_back(node->child, key.size());
    }
    return 0;
}

// The stream for a path, or the standard output, but only once: it is closed after its use.
static std::FILE *open_stream(const char *path)
{
    static bool is_output_closed = false;
    if (path != nullptr)
        return std::fopen(path, "w");
    return std::exchange(is_output_closed, true) ? nullptr : stdout;
}

int exportffile(const char *path, frag **head, int version)
{
    const steady_lists steady;
    std::FILE *stream = open_stream(path);
    if (stream == nullptr)
        return 1;
    const int result = version == EXPORT_XML ? write_xml_document(stream, head)
                                             : outffile(stream, *head, version, 0);
    // What the stream still held is written now, and may fall short.
    return std::fclose(stream) != 0 ? 1 : result;
}

int exportenv(const char *path, int version)
{
    const steady_lists steady;
    frag *copy = copy_fragtree(current_tree(), nullptr);
    del_frag(&copy, "temp");
    del_frag(&copy, "def_proxy_*");
    if (version == 1 || version == 41)
        version = EXPORT_FLAT;
    if (version == EXPORT_NUMBERED) {
        (void)norm41states(&copy); // without proxies there are no states
        norm41(&copy);
    }
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%.3d", version);
    fset(&copy, "version_varnholt.conf", text.data());
    const int result = exportffile(path, &copy, version);
    free_fraglist(&copy);
    return result;
}
