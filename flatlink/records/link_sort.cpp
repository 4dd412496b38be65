#include "flatlink/records/link_sort.h"

#include "flatlink/records/interfaces.h"
#include "flatlink/records/link_fields.h"
#include "flatlink/records/links.h"
#include "flatlink/records/names.h"
#include "lib/kdev/vpn_device.h"
#include "lib/ulib/name_service.h"

#include <algorithm>
#include <cerrno>
#include <tuple>
#include <unordered_map>

using namespace flatlink;

namespace
{

constexpr std::uint8_t TYPE_FIREWALL = 255; // the local side is the firewall, the remote one any

const u32 LOOPBACK = network_order(INADDR_LOOPBACK);

std::unordered_map<std::string, u32> known_names;
std::unordered_map<u32, u32> known_routes;

// What vpnauto_sort compares, in order; nesting levels and certificates go from high to low.
struct auto_key {
    std::int32_t rulenumber;
    u32 nesting_level;
    u32 local_size;
    u32 remote_size;
    u32 certificate_bits;

    bool goes_before(const auto_key &other) const
    {
        return std::tie(rulenumber, other.nesting_level, local_size, remote_size,
                        other.certificate_bits) < std::tie(other.rulenumber, nesting_level,
                                                           other.local_size, other.remote_size,
                                                           certificate_bits);
    }
};

struct certificate_bits {
    u32 issuer = 0;
    u32 subject = 0;
};

} // namespace

// ---- look-ups, each asked once

static int failed_lookup = 0;

int flatlink::lookup_error()
{
    return failed_lookup;
}

// Notes an error that means that the look-up failed, not that there is no answer.
static void note_lookup_error(int error)
{
    if (failed_lookup == 0 && (error == ENOMEM || error == EMFILE || error == ENFILE))
        failed_lookup = error;
}

static u32 look_up_name(const char *name)
{
    errno = 0;
    const hostent *host = name_service->host_by_name(name);
    u32 addr_be = NOT_AN_ADDRESS;
    if (host == nullptr)
        note_lookup_error(errno);
    if (host == nullptr || host->h_length != sizeof addr_be || host->h_addr_list[0] == nullptr)
        return NOT_AN_ADDRESS;
    std::copy_n(host->h_addr_list[0], sizeof addr_be, reinterpret_cast<char *>(&addr_be));
    return addr_be;
}

u32 getdnsname(const char *name)
{
    if (name == nullptr)
        return NOT_AN_ADDRESS;
    const auto [place, is_new] = known_names.try_emplace(name, NOT_AN_ADDRESS);
    if (is_new)
        place->second = look_up_name(name);
    return place->second;
}

static u32 address_of_name(const std::string &name)
{
    return getdnsname(name.empty() ? nullptr : name.c_str());
}

// The firewall's own address towards a gateway; 0 if there is no route.
static u32 address_towards(u32 gateway_addr)
{
    const auto [place, is_new] = known_routes.try_emplace(gateway_addr, gateway_addr);
    errno = 0;
    if (is_new && vvpn_get_route(&place->second) != 0) {
        note_lookup_error(errno);
        place->second = 0;
    }
    return place->second;
}

static bool is_local_side_firewall(const linkinfo &link)
{
    const std::string &text = link.lnetwork_start_address;
    return text.empty() || text == ip_myhostname || text == "127.0.0.1" || text == "localhost" ||
           link.lnetwork_start == LOOPBACK;
}

// Most gateways are given as numbers, and each link of a run may have its own, so their routes are
// requested together. The rest are looked up when they are needed.
static void look_up_routes()
{
    std::vector<u32> gateways;
    for (const auto &link : linkinfos)
        if (has_fixed_gateway(*link) && link->gateway_addr != NOT_AN_ADDRESS &&
            is_local_side_firewall(*link))
            gateways.push_back(link->gateway_addr);
    std::sort(gateways.begin(), gateways.end());
    gateways.erase(std::unique(gateways.begin(), gateways.end()), gateways.end());
    find_own_addresses(gateways,
                       [](u32 addr_be, u32 own_be) { known_routes.try_emplace(addr_be, own_be); });
}

void flatlink::clear_lookups()
{
    known_names.clear();
    known_routes.clear();
    failed_lookup = 0;
}

// ---- sizes of networks: the count of their addresses, 0 for the firewall or the gateway itself

// Of a range or a subnet by its mask, 1 for anything else. The count wraps at 32 bits, so that
// the whole address space has none.
static u32 network_size(std::uint8_t type, u32 start, u32 delimiter)
{
    if (type == ADDRID_RANGE)
        return host_order(delimiter) - host_order(start) + 1;
    if (type == ADDRID_SUBNET)
        return -host_order(delimiter);
    return 1;
}

static u32 firewall_size(linkinfo &link)
{
    if (link.fixed_remote == 0) {
        link.lnetwork_type = TYPE_FIREWALL;
        return 0;
    }
    link.lnetwork_type = ADDRID_HOST;
    link.lnetwork_delimiter = NOT_AN_ADDRESS;
    const u32 own = address_towards(link.gateway_addr);
    link.lnetwork_start = own != 0 ? own : getdnsname(ip_myhostname.c_str());
    return 0;
}

static u32 local_network_size(linkinfo &link)
{
    if (is_local_side_firewall(link))
        return firewall_size(link);
    u32 size = 1;
    if (link.lnetwork_start == NOT_AN_ADDRESS)
        link.lnetwork_start = address_of_name(link.lnetwork_start_address);
    else
        size = network_size(link.lnetwork_type, link.lnetwork_start, link.lnetwork_delimiter);
    if (size != 1)
        return size;
    // One address is a host, whatever its line calls it.
    link.lnetwork_type = ADDRID_HOST;
    link.lnetwork_delimiter = NOT_AN_ADDRESS;
    return isfwaddr(link.lnetwork_start) ? 0 : 1;
}

static u32 remote_network_size(linkinfo &link)
{
    u32 size = 1;
    if (link.rnetwork_start == NOT_AN_ADDRESS)
        link.rnetwork_start = address_of_name(link.rnetwork_start_address);
    else
        size = network_size(link.rnetwork_type, link.rnetwork_start, link.rnetwork_delimiter);
    if (size != 1)
        return size;
    link.rnetwork_type = ADDRID_HOST;
    link.rnetwork_delimiter = NOT_AN_ADDRESS;
    return link.rnetwork_start == link.gateway_addr ? 0 : 1;
}

// ---- keys

static certificate_bits bits_of(const peerauth &peer)
{
    certificate_bits bits;
    for (const certificate_name &name : issuer_names)
        if (!(peer.*name.text).empty())
            bits.issuer |= name.sort_bit;
    for (const certificate_name &name : subject_names) {
        const bool counts = name.text != &peerauth::san_content || peer.san_type != 0;
        if (counts && !(peer.*name.text).empty())
            bits.subject |= name.sort_bit;
    }
    return bits;
}

static void settle_gateway(linkinfo &link)
{
    if (!has_fixed_gateway(link)) {
        link.gateway.clear();
        link.fixed_remote = 0;
        link.gateway_addr = 0;
    } else if (link.gateway_addr == NOT_AN_ADDRESS) {
        link.gateway_addr = address_of_name(link.gateway);
    }
}

// Resolves the link's addresses and returns its sort key.
static auto_key auto_key_of(linkinfo &link)
{
    constexpr int ISSUER_BITS = 7; // the subject's bits stand above them
    settle_gateway(link);
    const u32 local_size = local_network_size(link);
    u32 remote_size = 0;
    if (link.fixed_remote == 0) { // a client, which may come from anywhere
        link.rnetwork_start = link.rnetwork_delimiter = NOT_AN_ADDRESS;
        link.rnetwork_type = 0;
    } else {
        remote_size = remote_network_size(link);
    }
    const certificate_bits bits = bits_of(link.peer);
    return {link.rulenumber, link.nesting_level, local_size, remote_size,
            bits.subject << ISSUER_BITS | bits.issuer};
}

// ---- the two sorts

void vpnauto_sort()
{
    struct keyed_link {
        auto_key key;
        std::unique_ptr<linkinfo> link;
    };
    invalidate_link_index();
    std::vector<keyed_link> keyed;
    keyed.reserve(linkinfos.size());
    look_up_routes();
    for (auto &link : linkinfos) {
        const auto_key key = auto_key_of(*link);
        keyed.push_back({key, std::move(link)});
    }
    std::stable_sort(keyed.begin(), keyed.end(), [](const keyed_link &a, const keyed_link &b) {
        return a.key.goes_before(b.key);
    });
    linkinfos.clear();
    for (keyed_link &item : keyed) {
        linkinfos.push_back(std::move(item.link));
        linkinfos.back()->linkno = static_cast<std::uint16_t>(linkinfos.size());
    }
}

void vpn_clientsort()
{
    const auto clients =
        std::stable_partition(linkinfos.begin(), linkinfos.end(),
                              [](const auto &link) { return link->fixed_remote != 0; });
    std::stable_sort(clients, linkinfos.end(), [](const auto &a, const auto &b) {
        const certificate_bits a_bits = bits_of(a->peer);
        const certificate_bits b_bits = bits_of(b->peer);
        return std::tie(a_bits.subject, a_bits.issuer) > std::tie(b_bits.subject, b_bits.issuer);
    });
}
