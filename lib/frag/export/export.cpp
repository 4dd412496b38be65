#include "lib/frag/export/export.h"

#include "lib/frag/export/xml_write.h"
#include "lib/frag/layout/norm41.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/symbol.h"

#include <array>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

using namespace flatlink;

namespace
{

// Buffers lines for a stream, because one stdio call per line would dominate the export.
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

    // Writes nothing after a write that fell short.
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

// How a saved tree differs from the one in memory, so that it can be written without a copy.
struct saved_changes {
    std::array<const frag *, 2> left_out{}; // with all below them; null for none
    const frag *stamped = nullptr;          // whose value is the stamp instead
    const frag *above_stamp = nullptr;      // which has the stamp as one more child, its first
    std::string stamp{};
    bool ends_values = false; // values in memory end at their counted length afterwards
};

constexpr const char *STAMP_OWNER = "version";
constexpr const char *STAMP_NAME = "varnholt.conf";

// The lines of a tree, nodes before their children.
class flat_writer
{
  public:
    flat_writer(std::FILE *stream, const saved_changes &changes) : lines_(stream), changes_(changes)
    {
    }

    // Writes a list and all below it; `key` is that of the node above with its '_', if there is
    // one. Returns 0, or 1 when a write fell short.
    int write(frag *first, std::string key);

    void add_line(std::string_view key, std::string_view value)
    {
        lines_.add(key);
        lines_.add(value);
        lines_.add("\n");
    }

  private:
    void add_node(std::string_view key, frag *node);

    line_buffer lines_;
    const saved_changes &changes_;
};

void flat_writer::add_node(std::string_view key, frag *node)
{
    const auto length = static_cast<std::size_t>(node->vlen);
    if (node == changes_.stamped)
        add_line(key, changes_.stamp);
    else if (node->value != nullptr)
        add_line(key, {node->value, length});
    if (changes_.ends_values && node->value != nullptr && node->value[length] != '\0')
        node->value[length] = '\0';
    if (node == changes_.above_stamp)
        add_line(std::string(key.substr(0, key.size() - 1)) + "_" + STAMP_NAME + "=",
                 changes_.stamp);
}

int flat_writer::write(frag *first, std::string key)
{
    std::vector<std::pair<frag *, std::size_t>> open{{first, key.size()}};
    while (!open.empty() && !lines_.is_short()) {
        const auto [node, above] = open.back();
        if (node == nullptr) {
            open.pop_back();
            continue;
        }
        open.back().first = node->next;
        if (node == changes_.left_out[0] || node == changes_.left_out[1])
            continue;
        key.resize(above);
        key += shown_prefix(node);
        key += attr_revmap(node->name);
        const std::size_t length = key.size();
        key += '=';
        add_node(key, node);
        key[length] = '_';
        if (node->child != nullptr && length < LONGEST_PARENT_KEY)
            open.emplace_back(node->child, key.size());
    }
    lines_.flush();
    return lines_.is_short() ? 1 : 0;
}

} // namespace

int outffile(std::FILE *stream, frag *first, int /*version*/, int position)
{
    std::string key;
    if (position > 0 && first != nullptr && first->parent != nullptr)
        key = std::string(fragkeyname(first->parent)) + "_";
    key.resize(static_cast<std::size_t>(position));
    const saved_changes none{.ends_values = true};
    return flat_writer(stream, none).write(first, std::move(key));
}

// Opens the stream for a path, or the standard output, which works once: it is closed after use.
static std::FILE *open_stream(const char *path)
{
    static bool is_output_closed = false;
    if (path != nullptr)
        return std::fopen(path, "w");
    return std::exchange(is_output_closed, true) ? nullptr : stdout;
}

// Closes the stream. Writing its buffer may fall short too.
static int close_stream(std::FILE *stream, int result)
{
    return std::fclose(stream) != 0 ? 1 : result;
}

int exportffile(const char *path, frag **head, int version)
{
    const steady_lists steady;
    std::FILE *stream = open_stream(path);
    if (stream == nullptr)
        return 1;
    return close_stream(stream, version == EXPORT_XML ? write_xml_document(stream, head)
                                                      : outffile(stream, *head, version, 0));
}

// Converts and writes a copy, as passes and the XML form change a tree.
static int export_copy(const char *path, int version, const std::string &stamp)
{
    frag *copy = copy_fragtree(current_tree(), nullptr);
    del_frag(&copy, "temp");
    del_frag(&copy, "def_proxy_*");
    if (version == EXPORT_NUMBERED) {
        (void)norm41states(&copy); // only fails without proxies, and then there are no states
        norm41(&copy);
    }
    fset(&copy, (std::string(STAMP_OWNER) + "_" + STAMP_NAME).c_str(), stamp.c_str());
    const int result = exportffile(path, &copy, version);
    free_fraglist(&copy);
    return result;
}

// The same for a tree that is written without conversion.
static int export_as_it_is(const char *path, std::string stamp)
{
    frag **tree = current_tree();
    saved_changes changes{.left_out = {ffind(tree, "temp"), ffind(tree, "def_proxy_*")},
                          .stamp = std::move(stamp)};
    frag *owner = ffind(tree, STAMP_OWNER);
    if (owner != nullptr)
        changes.stamped = ffind(&owner->child, STAMP_NAME);
    if (changes.stamped == nullptr)
        changes.above_stamp = owner;

    std::FILE *stream = open_stream(path);
    if (stream == nullptr)
        return 1;
    flat_writer writer(stream, changes);
    if (owner == nullptr)
        writer.add_line(std::string(STAMP_OWNER) + "_" + STAMP_NAME + "=", changes.stamp);
    return close_stream(stream, writer.write(*tree, {}));
}

int exportenv(const char *path, int version)
{
    const steady_lists steady;
    if (version == 1 || version == 41)
        version = EXPORT_FLAT;
    std::array<char, 16> stamp{};
    std::snprintf(stamp.data(), stamp.size(), "%.3d", version);
    if (version == EXPORT_NUMBERED || version == EXPORT_XML)
        return export_copy(path, version, stamp.data());
    return export_as_it_is(path, stamp.data());
}
