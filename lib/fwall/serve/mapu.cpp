#include "lib/fwall/serve/mapu.h"

#include "lib/fwall/match/alldi.h"
#include "lib/ulib/text.h"

#include <pwd.h>

using namespace flatlink;

std::int32_t mapuid(const char *name)
{
    if (isalldigits(name))
        return lenient_number(name);
    const passwd *entry = name == nullptr ? nullptr : getpwnam(name);
    return entry == nullptr ? -1 : static_cast<std::int32_t>(entry->pw_uid);
}
