#include "lib/frag/tree/frag_sort.h"

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/name_index.h"
#include "lib/ulib/text.h"

#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

using namespace flatlink;

static const char *skip_zeros(const char *name)
{
    while (*name == '0')
        ++name;
    return name;
}

int fragmatch(const char *a, const char *b)
{
    if (!is_digit(*a) || !is_digit(*b))
        return std::strcmp(a, b);
    a = skip_zeros(a);
    b = skip_zeros(b);
    // A name of zeros alone has no digits left and nothing to scan.
    const char *a_end = *a == '\0' ? a : a + 1;
    const char *b_end = *b == '\0' ? b : b + 1;
    while (is_digit(*a_end) && is_digit(*b_end)) {
        ++a_end;
        ++b_end;
    }
    if (*a_end == '\0' && *b_end != '\0')
        return -1;
    if (*b_end == '\0' && *a_end != '\0')
        return 1;
    return std::strcmp(a, b);
}

static frag *reversed(frag *list)
{
    frag *result = nullptr;
    while (list != nullptr) {
        frag *node = list;
        list = std::exchange(node->next, result);
        result = node;
    }
    return result;
}

// Merges two sorted lists; of equal names the one of `a` comes first.
static frag *merged(frag *a, frag *b)
{
    frag *result = nullptr;
    frag **end = &result;
    while (a != nullptr && b != nullptr) {
        frag *&smaller = fragmatch(a->name, b->name) <= 0 ? a : b;
        *end = smaller;
        end = &smaller->next;
        smaller = *end;
    }
    *end = a != nullptr ? a : b;
    return result;
}

// Sorts a list and returns its head. Cuts near the middle, so the recursion depth is logarithmic.
static frag *sorted(frag *list)
{
    std::size_t in_order = 0;
    std::size_t out_of_order = 0;
    frag *middle = list;
    for (const frag *node = list; node->next != nullptr; node = node->next) {
        (fragmatch(node->name, node->next->name) <= 0 ? in_order : out_of_order) += 1;
        if ((in_order + out_of_order) % 2 == 0)
            middle = middle->next;
    }
    if (out_of_order > in_order) {
        list = reversed(list);
        std::swap(in_order, out_of_order);
    }
    if (out_of_order == 0)
        return list;
    frag *second = std::exchange(middle->next, nullptr);
    list = sorted(list);
    return merged(list, second == nullptr ? nullptr : sorted(second));
}

int sort_frags(frag **head)
{
    if (*head == nullptr)
        return 0;
    // Most lists are sorted already; only a change of order invalidates the name index.
    for (const frag *node = *head; node->next != nullptr; node = node->next) {
        if (fragmatch(node->name, node->next->name) > 0) {
            drop_name_index(head);
            *head = sorted(*head);
            return 0;
        }
    }
    return 0;
}

int reverse_tree(frag **head)
{
    drop_name_indexes();
    std::vector<frag **> open_lists{head};
    while (!open_lists.empty()) {
        frag **list = open_lists.back();
        open_lists.pop_back();
        *list = reversed(*list);
        for (frag *node = *list; node != nullptr; node = node->next)
            if (node->child != nullptr)
                open_lists.push_back(&node->child);
    }
    return 0;
}
