#include "lib/fwall/serve/mapg.h"

#include "lib/fwall/match/alldi.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/text.h"

using namespace flatlink;

std::int32_t mapgid(const char *name)
{
    if (isalldigits(name))
        return lenient_number(name);
    const group *entry = name == nullptr ? nullptr : name_service->group_by_name(name);
    return entry == nullptr ? -1 : static_cast<std::int32_t>(entry->gr_gid);
}
