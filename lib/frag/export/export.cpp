#include "lib/frag/export/export.h"

#include <array>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "lib/frag/export/xml_write.h"
#include "lib/frag/layout/norm41.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/symbol.h"

namespace
{

// Gathers lines for a stream, so that a line costs no call of it.
class line_buffer
{
  public:
    explicit line_buffer(std::FILE *stream) : stream_(stream), bytes_(SIZE) {}

    void add(std::string_view text)
    {
        if (text.size() > SIZE - used_)
            flush();
        if (text.size() > SIZE) {
            write(text);
            return;
        }
        std::memcpy(bytes_.data() + used_, text.data(), text.size());
        used_ += text.size();
    }

    void flush() { write({bytes_.data(), std::exchange(used_, 0)}); }

    // Nothing is written behind a write that fell short.
    bool is_short() const { return is_short_; }

  private:
    static constexpr std::size_t SIZE = 1 << 16;

    void write(std::string_view text)
    {
        is_short_ = is_short_ || std::fwrite(text.data(), 1, text.size(), stream_) != text.size();
    }

    std::FILE *stream_;
    std::vector<char> bytes_;
    std::size_t used_ = 0;
    bool is_short_ = false;
};

} // namespace

static void add_line(line_buffer &lines, std::string_view key, const frag *node)
{
    const auto length = static_cast<std::size_t>(node->vlen);
    lines.add(key);
    lines.add({node->value, length});
    lines.add("\n");
    if (node->value[length] != '\0') // read first: most values end there and stay untouched
        node->value[length] = '\0';
}

int outffile(std::FILE *stream, frag *first, int /*version*/, int position)
{
    std::string key;
    if (position > 0 && first != nullptr && first->parent != nullptr)
        key = std::string(fragkeyname(first->parent)) + "_";
    key.resize(static_cast<std::size_t>(position));

    line_buffer lines(stream);
    std::vector<std::pair<frag *, std::size_t>> open{{first, key.size()}};
    while (!open.empty() && !lines.is_short()) {
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
            add_line(lines, key, node);
        key[length] = '_';
        if (node->child != nullptr && length < LONGEST_PARENT_KEY)
            open.emplace_back(node->child, key.size());
    }
    lines.flush();
    return lines.is_short() ? 1 : 0;
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
