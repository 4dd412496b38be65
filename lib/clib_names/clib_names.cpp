#include "lib/clib_names/clib_names.h"

#include "lib/fwall/match/scan_address.h"
#include "lib/fwall/serve/temp_name.h"
#include "lib/ulib/environ.h"

using namespace flatlink;

extern "C" char *getenv(const char *name) noexcept
{
    return _findenv(name, nullptr);
}

extern "C" int inet_aton(const char *text, in_addr *result) noexcept
{
    u32 addr_be = 0;
    if (!scan_address(text, addr_be))
        return 0;
    if (result != nullptr)
        result->s_addr = addr_be;
    return 1;
}

extern "C" char *mktemp(char *name) noexcept
{
    return make_temp_name(name);
}

extern "C" int mkstemp(char *name)
{
    return make_temp_file(name);
}
