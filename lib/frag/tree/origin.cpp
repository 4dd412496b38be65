#include "lib/frag/tree/origin.h"

#include <vector>

using namespace flatlink;

void flatlink::take_origin(frag *node, const frag *source)
{
    if (node->origin == 0)
        node->origin = source->origin;
}

void flatlink::clear_asked(frag **head)
{
    std::vector<frag *> open{*head};
    while (!open.empty()) {
        frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            node->flags &= ~FRAG_ASKED;
            if (node->child != nullptr)
                open.push_back(node->child);
        }
    }
}
