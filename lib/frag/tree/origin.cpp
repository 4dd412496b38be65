#include "lib/frag/tree/origin.h"

using namespace flatlink;

void flatlink::take_origin(frag *node, const frag *source)
{
    if (node->origin == 0)
        node->origin = source->origin;
}
