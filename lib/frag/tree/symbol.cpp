#include "lib/frag/tree/symbol.h"

#include "lib/frag/tree/frag.h"

using namespace flatlink;

frag *def_database = nullptr;
frag **cur_database = nullptr;

frag **flatlink::current_tree()
{
    if (cur_database == nullptr)
        cur_database = &def_database;
    return cur_database;
}

frag *symffind(const char *key)
{
    return ffind(current_tree(), key);
}

frag *symfset(const char *key, const char *value)
{
    return fset(current_tree(), key, value);
}

const char *symval(const char *key)
{
    return fval(current_tree(), key);
}

void symset(const char *key, const char *value)
{
    fset(current_tree(), key, value);
}
