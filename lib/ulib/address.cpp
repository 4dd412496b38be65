#include "lib/ulib/address.h"

using namespace flatlink;

u32 flatlink::parse_address(const std::string &text)
{
    return inet_addr(text.c_str());
}

u32 flatlink::parse_network(const std::string &text)
{
    return network_order(inet_network(text.c_str()));
}

// The host's inet_ntop does it by printf; a proxy's child would touch twice the code for that.
std::string flatlink::format_address(u32 addr_be)
{
    std::string text;
    for (int bits = 24; bits >= 0; bits -= 8) {
        text += std::to_string(host_order(addr_be) >> bits & 0xFF);
        if (bits > 0)
            text += '.';
    }
    return text;
}
