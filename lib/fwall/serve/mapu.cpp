#include "lib/fwall/serve/mapu.h"

#include "lib/fwall/match/alldi.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/text.h"

using namespace flatlink;

std::int32_t mapuid(const char *name)
{
    if (isalldigits(name))
        return lenient_number(name);
    const passwd *entry = name == nullptr ? nullptr : name_service->user_by_name(name);
    return entry == nullptr ? -1 : static_cast<std::int32_t>(entry->pw_uid);
}
