#include "lib/ulib/environ.h"

#include <cstring>
#include <unistd.h>

char *_findenv(const char *name, int *offsetout)
{
    if (name == nullptr || environ == nullptr)
        return nullptr;
    const std::size_t length = std::strcspn(name, "=");
    for (int i = 0; environ[i] != nullptr; ++i) {
        if (std::strncmp(environ[i], name, length) != 0 || environ[i][length] != '=')
            continue;
        if (offsetout != nullptr)
            *offsetout = i;
        return environ[i] + length + 1;
    }
    return nullptr;
}
