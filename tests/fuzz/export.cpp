// Imports any bytes, saves the tree in each layout, and reads back what was saved: saving twice
// gives the same bytes, what comes back is a sound tree that can be saved again, and flat lines
// come back as they were.
#include "lib/frag/export/export.h"

#include "lib/frag/export/xml_layout.h"
#include "lib/frag/layout/canon.h"
#include "lib/frag/layout/upgrade.h"
#include "lib/frag/tree/symbol.h"
#include "tests/fuzz/path_file.h"
#include "tests/fuzz/tree_checks.h"

#include <cctype>
#include <cstdint>
#include <string>
#include <string_view>

namespace
{

std::string saved(owned_tree &tree, int version)
{
    static const path_file file;
    cur_database = &tree.head;
    must(exportenv(file.path().c_str(), version) == 0, "an export failed");
    cur_database = nullptr;
    return file.text();
}

// The names and values here mean nothing in any notation and are nowhere too long, so that
// nothing of them may be lost.
bool is_plain(std::string_view text)
{
    std::size_t line = 0;
    for (const char c : text) {
        line = c == '\n' ? 0 : line + 1;
        if (line > NAME_PART_SIZE)
            return false;
        if (std::isalnum(static_cast<unsigned char>(c)) == 0 &&
            std::string_view("_=\n.").find(c) == std::string_view::npos)
            return false;
    }
    return true;
}

void import_again(const std::string &text, int version)
{
    owned_tree again(text);
    if (version == EXPORT_NUMBERED) {
        norm_fragtree(&again.head);
        up41(&again.head);
    } else if (version == EXPORT_XML) {
        canon_xml(&again.head);
    }
    check_tree(&again.head);
    saved(again, version);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    owned_tree tree(bytes);
    check_tree(&tree.head);
    for (const int version : {EXPORT_FLAT, EXPORT_NUMBERED, EXPORT_XML}) {
        const std::string text = saved(tree, version);
        must(saved(tree, version) == text, "a second export differs");
        import_again(text, version);
    }
    check_tree(&tree.head);

    if (is_plain(bytes)) {
        const std::string flat = saved(tree, EXPORT_FLAT);
        owned_tree again(flat);
        must(saved(again, EXPORT_FLAT) == flat, "the tree read back differs");
    }
    return 0;
}
