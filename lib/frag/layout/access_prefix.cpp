#include "lib/frag/layout/access_prefix.h"

#include "lib/frag/tree/frag_name.h"
#include "lib/ulib/text.h"

using namespace flatlink;

// Removes one prefix from the front. Returns its bit, 0 for none.
static unsigned take_one(std::string_view &name, unsigned accepted)
{
    for (const access_prefix &prefix : access_prefixes) {
        if ((prefix.flag & accepted) == 0 || !begins_with_word(name, prefix.word))
            continue;
        name.remove_prefix(prefix.word.size());
        return prefix.flag;
    }
    return 0;
}

unsigned flatlink::take_access_prefixes(std::string_view &name, unsigned accepted)
{
    unsigned flags = 0;
    while (const unsigned flag = take_one(name, accepted))
        flags |= flag;
    return flags;
}
