// Any bytes as a database: in two ways of cutting them into pieces they must give one tree, whose
// calls must agree with plain walks. The first byte says how.
#include "lib/frag/import.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <map>
#include <string_view>
#include <vector>

#include "lib/frag/frag.h"
#include "lib/frag/frag_name.h"
#include "lib/frag/frag_sort.h"
#include "lib/frag/frag_text.h"
#include "tests/fuzz/must.h"

namespace
{

struct owned_list {
    ~owned_list() { free_fraglist(&head); }
    frag *head = nullptr;
};

void import(frag **head, std::string_view text, int keep, std::size_t piece_size)
{
    importer reader(head, keep);
    while (!text.empty()) {
        // A block of its own, so that a look beyond the piece does not go unseen.
        const std::string_view view = text.substr(0, piece_size);
        const std::vector<char> piece(view.begin(), view.end());
        reader.feed({piece.data(), piece.size()});
        text.remove_prefix(view.size());
    }
    reader.finish();
}

bool is_equal_text(const char *a, const char *b)
{
    return a == nullptr || b == nullptr ? a == b : std::strcmp(a, b) == 0;
}

void must_be_equal(const frag *a, const frag *b)
{
    std::vector<std::pair<const frag *, const frag *>> open{{a, b}};
    while (!open.empty()) {
        std::tie(a, b) = open.back();
        open.pop_back();
        for (; a != nullptr && b != nullptr; a = a->next, b = b->next) {
            must(std::strcmp(a->name, b->name) == 0, "two names of one node");
            must(is_equal_text(a->value, b->value), "two values of one node");
            must(a->vlen == b->vlen && a->flags == b->flags, "two lengths or flags of one node");
            open.emplace_back(a->child, b->child);
        }
        must(a == b, "two lengths of one list");
    }
}

// Every list of a tree with the node above it.
std::vector<std::pair<frag **, frag *>> lists_of(frag **head)
{
    std::vector<std::pair<frag **, frag *>> lists{{head, nullptr}};
    for (std::size_t pos = 0; pos < lists.size(); ++pos)
        for (frag *node = *lists[pos].first; node != nullptr; node = node->next)
            if (node->child != nullptr)
                lists.emplace_back(&node->child, node);
    return lists;
}

void check_list(frag **list, const frag *parent)
{
    std::map<std::string_view, frag *> first;
    for (frag *node = *list; node != nullptr; node = node->next) {
        must(node->parent == parent, "a wrong parent");
        must(node->index == nullptr, "a trie left behind");
        must((node->flags & FRAG_COUNT_MASK) == 0, "a count left behind");
        must(node->value != nullptr ? node->vlen >= 0 : node->vlen == 0, "a wrong length");
        first.try_emplace(node->name, node);
        (void)fragname(node);
    }
    for (const auto &[name, node] : first) {
        const bool is_part = name.find_first_of("_=") == std::string_view::npos;
        must(!is_part || ffind(list, node->name) == node, "a name that is not found");
    }
}

std::vector<const frag *> nodes_of(const frag *list)
{
    std::vector<const frag *> nodes;
    for (; list != nullptr; list = list->next)
        nodes.push_back(list);
    std::sort(nodes.begin(), nodes.end());
    return nodes;
}

void check_calls(frag **head)
{
    for (const auto &[list, parent] : lists_of(head))
        check_list(list, parent);
    owned_list copy;
    copy.head = copy_fragtree(head, nullptr);
    reverse_tree(&copy.head);
    reverse_tree(&copy.head);
    strip_crlf_tree(&copy.head);
    static std::FILE *const nowhere = std::fopen("/dev/null", "we");
    export_frags(copy.head, nowhere, 0);
    for (const auto &[list, parent] : lists_of(&copy.head)) {
        const auto before = nodes_of(*list);
        sort_frags(list);
        must(nodes_of(*list) == before, "nodes that a sort lost");
        check_list(list, parent);
    }
    while (copy.head != nullptr && ffind(&copy.head, copy.head->name) == copy.head) {
        (void)fragkeyname(copy.head->child);
        freefrag(fdel(&copy.head, copy.head->name));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    const std::string_view text(reinterpret_cast<const char *>(data) + 1, size - 1);
    const int keep = *data & 1;
    const std::size_t piece_size = 1 + *data / 2;
    static constexpr std::string_view BEFORE = "a=1\na_b=2\nx_1=old \npermit-p=\n";

    owned_list whole;
    owned_list pieces;
    for (owned_list *tree : {&whole, &pieces}) {
        import(&tree->head, BEFORE, 0, BEFORE.size());
        import(&tree->head, text, keep, tree == &whole ? size : piece_size);
    }
    must_be_equal(whole.head, pieces.head);
    check_calls(&whole.head);
    return 0;
}
