#include "lib/ulib/usage.h"

#include "lib/ulib/text.h"

#include <cstdio>

using namespace flatlink;

const char *flatlink::release_version()
{
    return FLATLINK_VERSION;
}

int flatlink::answer_usage(int argc, char **argv, const char *name, const char *usage)
{
    const std::string_view option = argc > 1 ? text_of(argv[1]) : "";
    if (option == "--help")
        (void)std::fputs(usage, stdout); // the flush below tells
    else if (option == "--version")
        (void)std::printf("%s %s\n", name, release_version());
    else
        return -1;
    if (std::fflush(stdout) == 0)
        return 0;
    std::perror(name);
    return 1;
}
