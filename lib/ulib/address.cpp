#include "lib/ulib/address.h"

#include <array>

u32 address_of(const std::string &text)
{
    return inet_addr(text.c_str());
}

u32 network_of(const std::string &text)
{
    return network_order(inet_network(text.c_str()));
}

std::string dotted(u32 addr_be)
{
    std::array<char, INET_ADDRSTRLEN> text{};
    const in_addr addr{addr_be};
    return inet_ntop(AF_INET, &addr, text.data(), text.size());
}
