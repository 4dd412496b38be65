#include "flatctl/forms/forms.h"

#include "flatctl/forms/flat_diff.h"
#include "flatctl/input/kind.h"
#include "flatlink/driver.h"
#include "flatlink/flat_file.h"
#include "flatlink/records/decoder.h"
#include "flatlink/records/line.h"
#include "flatlink/records/post_decode.h"
#include "flatlink/records/records.h"
#include "lib/frag/export/export.h"
#include "lib/frag/export/notation_write.h"
#include "lib/frag/export/xml_layout.h"
#include "lib/frag/export/xml_write.h"
#include "lib/frag/import/import.h"
#include "lib/frag/layout/norm41.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <new>
#include <vector>

using namespace flatlink;

namespace
{

// Half a text must not pass for the whole: ends the child as any lack of memory does.
[[noreturn]] void end_without_memory()
{
    if (const std::new_handler handler = std::get_new_handler())
        handler();
    std::abort();
}

// A stream of memory, and its bytes.
template <typename writer> std::string written_by(writer write)
{
    char *bytes = nullptr;
    std::size_t size = 0;
    std::FILE *stream = open_memstream(&bytes, &size);
    if (stream == nullptr)
        end_without_memory();
    write(stream);
    const bool is_whole = std::ferror(stream) == 0;
    if (std::fclose(stream) != 0 || !is_whole)
        end_without_memory();
    std::string text(bytes, size);
    std::free(bytes);
    return text;
}

// A tree that is freed at the end of its block.
struct held_tree {
    explicit held_tree(frag *first) : head(first) {}
    ~held_tree() { free_fraglist(&head); }
    held_tree(const held_tree &) = delete;
    held_tree &operator=(const held_tree &) = delete;

    frag *head;
};

void write_flat(std::FILE *stream, frag **head)
{
    (void)outffile(stream, *head, EXPORT_FLAT, 0); // a memory stream fails by lack of memory alone
}

void write_sections(std::FILE *stream, frag **head)
{
    (void)outsectionfile(stream, *head);
}

void write_tags(std::FILE *stream, frag **head)
{
    (void)outtagfile(stream, *head);
}

void write_numbered(std::FILE *stream, frag **head)
{
    (void)norm41states(head); // without proxies there are no states
    norm41(head);
    write_flat(stream, head);
}

void write_xml(std::FILE *stream, frag **head)
{
    (void)write_xml_document(stream, head);
}

void keep_tree(frag **) {}

void undo_xml(frag **head)
{
    canon_xml(head);
}

void undo_numbers(frag **head)
{
    *head = upgradeTo42(*head);
}

// How the tree is written, what it must not hold, and what is done to the tree that is read back.
struct tree_form {
    form_row row;
    void (*write)(std::FILE *stream, frag **head);
    notation fits;
    void (*read_back)(frag **head);
};

constexpr tree_form tree_forms[] = {
    {{"flat", true, false}, write_flat, notation::FLAT, keep_tree},
    {{"sections", true, false}, write_sections, notation::SECTIONS, keep_tree},
    {{"tags", true, false}, write_tags, notation::TAGS, keep_tree},
    {{"numbered", true, true}, write_numbered, notation::FLAT, undo_numbers},
    {{"xml", true, true}, write_xml, notation::TAGS, undo_xml},
};

// Those, and the flat VPN data.
constexpr auto rows = [] {
    std::array<form_row, std::size(tree_forms) + 1> all{};
    for (std::size_t i = 0; i < std::size(tree_forms); ++i)
        all[i] = tree_forms[i].row;
    all.back() = {"vpn", false, false};
    return all;
}();

constexpr auto names = [] {
    std::array<std::string_view, std::size(rows)> all{};
    for (std::size_t i = 0; i < std::size(rows); ++i)
        all[i] = rows[i].name;
    return all;
}();

const tree_form &tree_form_of(const form_row &form)
{
    return *std::ranges::find(tree_forms, form.name, [](const tree_form &f) { return f.row.name; });
}

} // namespace

constinit const std::span<const std::string_view> flatlink::form_names = names;

const form_row *flatlink::find_form(std::string_view name)
{
    const auto *found = std::ranges::find(rows, name, &form_row::name);
    return found == std::end(rows) ? nullptr : found;
}

int flatlink::load_any_form(int fd, input_facts *facts)
{
    const int error = import_open_env(fd);
    if (facts != nullptr)
        take_tree_facts(def_database, *facts);
    canon_xml(&def_database);
    def_database = upgradeTo42(def_database);
    count_whole_values(def_database);
    return error;
}

// ---- flat VPN data

static std::string vpn_text()
{
    fout = nullptr; // no trace
    derive_from_tree(false);
    return written_by(write_records);
}

// The records that a text of flat data gives, as text again.
static std::string records_of_text(std::string_view text)
{
    reset_records();
    std::FILE *stream = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    char line[FLAT_LINE_SIZE];
    while (stream != nullptr && vpn_getline(line, sizeof line, stream) != nullptr)
        if (!decode_vpn_buffer(line))
            decode_nonvpn_buffer(line);
    if (stream != nullptr)
        std::fclose(stream);
    (void)post_decode();
    return written_by(write_records);
}

// The text without the lines that tell what a policy or a pool is called: its number is its name
// to the reader of flat data.
static std::string without_names(std::string_view text)
{
    std::string kept;
    while (!text.empty()) {
        const std::string_view line =
            text.substr(0, std::min(text.find('\n'), text.size() - 1) + 1);
        text.remove_prefix(line.size());
        const bool is_numbered = line.starts_with("ikePolicy_") || line.starts_with("mcpool_") ||
                                 line.starts_with("ipsecPolicy_");
        const std::string_view key = line.substr(0, line.find('='));
        if (!is_numbered || !key.ends_with("_name"))
            kept += line;
    }
    return kept;
}

static tree_comparison compare_records(std::string_view text, std::size_t most)
{
    tree_comparison found;
    const std::string written = without_names(text);
    const std::string again = without_names(records_of_text(text));
    for (const flat_change &change : compare_flat(written, again)) {
        if (++found.count > most)
            continue;
        std::string what =
            change.kind == '-' ? "the whole record" : "it appears, and was not there";
        if (change.kind == '~') {
            what = "its";
            for (const flat_field &field : change.was.empty() ? change.now : change.was)
                what += " " + std::string(field.key);
        }
        found.differences.push_back({change.family + " " + change.identity, what});
    }
    return found;
}

// ---- any form

std::string flatlink::text_in_form(const form_row &form, bool is_fitted)
{
    if (!form.is_tree)
        return vpn_text();
    const tree_form &row = tree_form_of(form);
    held_tree copy(is_fitted ? copy_fit_for(row.fits, def_database)
                             : copy_fragtree(&def_database, nullptr));
    return written_by([&](std::FILE *stream) { row.write(stream, &copy.head); });
}

tree_comparison flatlink::compare_with_text(const form_row &form, std::string_view text,
                                            std::size_t most)
{
    if (!form.is_tree)
        return compare_records(text, most);
    held_tree again(nullptr);
    importer reader(&again.head, 0);
    reader.feed(text);
    reader.finish();
    tree_form_of(form).read_back(&again.head);
    return compare_trees(def_database, again.head, form.rebuilds, most);
}
