// Requests to the VPN driver, and the routes that follow from them.
#include "lib/kdev/vpn_device.h"

#include "lib/kdev/platform/handle.h"
#include "lib/kdev/platform/platform.h"
#include "lib/kdev/platform/route_message.h"
#include "lib/kdev/route_access.h"

#include <algorithm>

using namespace flatlink;

vpn_message k_msg{};

namespace
{

// Bytes of a payload that hold all its fields.
constexpr std::size_t LINK_SIZE = VPN_NET2_TYPE + 1 - VPN_PAYLOAD;

// A field of a link message, from its payload.
template <typename plain> plain link_field(byte_view payload, std::size_t message_offset)
{
    return load<plain>(payload, message_offset - VPN_PAYLOAD);
}

struct protected_network {
    u32 start_be;
    u32 delimiter_be; // mask, or last address of a range
    bool is_range;
};

protected_network network_of_link(byte_view payload, std::uint8_t flags)
{
    const bool first = (flags & VPN_FIRST_NETWORK) != 0;
    return {.start_be = link_field<u32>(payload, first ? VPN_NET1_START : VPN_NET2_START),
            .delimiter_be =
                link_field<u32>(payload, first ? VPN_NET1_DELIMITER : VPN_NET2_DELIMITER),
            .is_range = link_field<std::uint8_t>(payload, first ? VPN_NET1_TYPE : VPN_NET2_TYPE) ==
                        VPN_RANGE};
}

// Where packets to the remote gateway go next: to itself when it is a neighbour.
int next_hop(u32 gateway_be, u32 *hop_be)
{
    std::array<std::uint8_t, RA_REPLY_SIZE> reply;
    const int code = ra_lookup_route(gateway_be, reply);
    if (code != RA_DONE)
        return code;
    const auto found = load<route_answer>(reply, 0);
    const u32 towards_be = found.gateway.sin_addr.s_addr;
    const bool is_neighbour = towards_be == 0 || towards_be == found.source.sin_addr.s_addr;
    *hop_be = is_neighbour ? gateway_be : towards_be;
    return RA_DONE;
}

int add_unless_there(u32 dst_be, u32 hop_be, u32 mask_be, std::int32_t flags)
{
    if (dst_be == hop_be)
        return RA_DONE;
    const int code = ra_add_route(dst_be, hop_be, mask_be, flags);
    return code == RA_EXISTS ? RA_DONE : code;
}

constexpr unsigned long CLIENT_REQUEST = 0xC0004701;
constexpr char KNOWN_CLIENT = '~'; // first sign of the name of a known client

static_assert(VPN_DISPLAY + VPN_DISPLAY_SIZE == VPN_MESSAGE_SIZE);

// Copies a text that is not NUL-terminated from the message and terminates it.
void copy_text(std::size_t offset, std::span<char> text)
{
    const std::size_t length = text.size() - 1;
    std::memcpy(text.data(), k_msg.data() + offset, length);
    text[length] = '\0';
}

} // namespace

int vvpn_get_route(u32 *addrio_be)
{
    if (ra_get_route_address(*addrio_be, addrio_be) == RA_DONE)
        return 0;
    *addrio_be = 0;
    return -1;
}

void flatlink::find_own_addresses(std::span<const u32> addrs_be,
                                  const std::function<void(u32 addr_be, u32 own_be)> &take)
{
    if (platform->route_sources != nullptr)
        platform->route_sources(addrs_be, take);
}

int vvpn_ioctl(int fd, unsigned long request, vpn_message &message)
{
    if (std::ranges::count(vpn_link_commands, message[VPN_COMMAND]) == 0)
        return platform->vpn_ioctl(fd, request, message);

    const vpn_message asked = message; // the driver answers in the same bytes
    auto local_be = load<u32>(message, VPN_LOCAL_ADDR);
    if (local_be == 0) {
        local_be = load<u32>(message, VPN_GATEWAY);
        const int found = vvpn_get_route(&local_be);
        store(message, VPN_LOCAL_ADDR, local_be);
        if (found != 0)
            return -1;
    }
    const int result = platform->vpn_ioctl(fd, request, message);
    if (result != 0)
        return result;
    return vvpn_add_routes(byte_view(asked).subspan(VPN_PAYLOAD)) == RA_DONE ? result : -1;
}

int vvpn_add_routes(byte_view payload)
{
    const auto flags = link_field<std::uint8_t>(payload, VPN_FLAGS);
    if (payload.size() < LINK_SIZE || flags == 0)
        return VVPN_NO_ROUTES;
    const protected_network network = network_of_link(payload, flags);

    u32 hop_be = 0;
    const int code = next_hop(link_field<u32>(payload, VPN_GATEWAY), &hop_be);
    if (code != RA_DONE)
        return code;

    constexpr std::int32_t ROUTE_FLAGS = RA_UP | RA_GATEWAY | RA_STATIC;
    if (!network.is_range && network.delimiter_be != NOT_AN_ADDRESS)
        return add_unless_there(network.start_be, hop_be, network.delimiter_be, ROUTE_FLAGS);

    // 64 bits, since the last address of a range may be the last of all.
    const std::uint64_t first = host_order(network.start_be);
    const std::uint64_t last = network.is_range ? host_order(network.delimiter_be) : first;
    for (std::uint64_t address = first; address <= last; ++address) {
        const int added = add_unless_there(network_order(static_cast<u32>(address)), hop_be,
                                           NOT_AN_ADDRESS, ROUTE_FLAGS | RA_HOST);
        if (added != RA_DONE)
            return added;
    }
    return RA_DONE;
}

int vfw_vpnclientcheck(u32 client_be, u32 local_be, std::span<char, VPN_IDENTITY_SIZE + 1> identity,
                       std::span<char, VPN_DISPLAY_SIZE + 1> display)
{
    const platform_handle device(platform->vpn_open(), platform->vpn_close);
    if (!device.is_open())
        return 0;
    k_msg.fill(0);
    store(k_msg, VPN_LENGTH, htons(VPN_MESSAGE_SIZE));
    k_msg[VPN_COMMAND] = VPN_CLIENT_CHECK;
    store(k_msg, VPN_CLIENT, client_be);
    store(k_msg, VPN_CLIENT_LOCAL, local_be);
    // The answer itself tells success: without one, no name stands in the cleared message.
    (void)platform->vpn_ioctl(device.fd(), CLIENT_REQUEST, k_msg);
    if (k_msg[VPN_DISPLAY] != KNOWN_CLIENT)
        return 0;
    copy_text(VPN_IDENTITY, identity);
    copy_text(VPN_DISPLAY, display);
    return 1;
}
