#include "lib/fwall/revmap.h"

#include "lib/fwall/fixed_text.h"
#include "lib/fwall/inet_aton.h"
#include "lib/fwall/name_service.h"
#include "lib/ulib/text.h"

const char *revmap(const char *address)
{
    static char name[257];
    in_addr addr{};
    if (address != nullptr && inet_aton(address, &addr) == 0)
        return address;
    const hostent *found = nullptr;
    if (address != nullptr)
        found = name_service->host_by_address(&addr, sizeof addr, AF_INET);
    if (found == nullptr || found->h_name == nullptr)
        return "unknown";
    set_text(name, found->h_name);
    for (char &c : name)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return name;
}
