// Prints the value of a key out of a small configuration.
#include "lib/frag/import/import.h"
#include "lib/frag/tree/frag.h"

#include <cstdio>

using namespace flatlink;

int main()
{
    frag *tree = nullptr;
    importer reader(&tree, 0);
    reader.feed("net_office_hosts=10.1.*\n");
    reader.finish();
    std::puts(fval(&tree, "net_office_hosts"));
    free_fraglist(&tree);
    return 0;
}
