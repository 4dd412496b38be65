// Walks the list of interface addresses that the host gives.
#include "lib/kdev/platform/own_address.h"

#include "lib/ulib/bytes.h"

#include <ifaddrs.h>
#include <memory>
#include <net/if.h>

using namespace flatlink;

namespace
{

bool has_address(const ifaddrs &entry, in_addr_t addr_be)
{
    if (entry.ifa_addr == nullptr || entry.ifa_addr->sa_family != AF_INET)
        return false;
    sockaddr_in address;
    std::memcpy(&address, entry.ifa_addr, sizeof address);
    return address.sin_addr.s_addr == addr_be;
}

} // namespace

int flatlink::interface_of_address(in_addr_t addr_be)
{
    ifaddrs *list = nullptr;
    if (getifaddrs(&list) != 0)
        return -1;
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    for (const ifaddrs *entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (has_address(*entry, addr_be))
            return static_cast<int>(if_nametoindex(entry->ifa_name));
    }
    return 0;
}
