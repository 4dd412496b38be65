// Any bytes as a database: in two ways of cutting them into pieces they must give one tree, whose
// calls must agree with plain walks. The first byte says how.
#include "lib/frag/import/import.h"

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/frag_text.h"
#include "tests/fuzz/tree_checks.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string_view>
#include <vector>

namespace
{

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
    check_tree(head);
    owned_tree copy;
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

    owned_tree whole(BEFORE);
    owned_tree pieces(BEFORE);
    whole.import(text, keep);
    pieces.import(text, keep, piece_size);
    must_be_equal(whole.head, pieces.head);
    check_calls(&whole.head);
    return 0;
}
