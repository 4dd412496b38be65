#include "lib/fwall/match/revmap.h"

#include "lib/fwall/match/scan_address.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/text.h"

using namespace flatlink;

const char *revmap(const char *address)
{
    static char name[257];
    u32 addr_be = 0;
    if (address != nullptr && !scan_address(address, addr_be))
        return address;
    const hostent *found = nullptr;
    if (address != nullptr)
        found = name_service->host_by_address(&addr_be, sizeof addr_be, AF_INET);
    if (found == nullptr || found->h_name == nullptr)
        return "unknown";
    set_text(name, found->h_name);
    for (char &c : name)
        c = lower_case(c);
    return name;
}
