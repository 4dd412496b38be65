#include "flatlink/records/interfaces.h"

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/record_watch.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

using namespace flatlink;

namespace
{

// A name that is empty is one, too.
struct name_text {
    static void read(std::optional<std::string> &held, std::string_view value) { held = value; }
    static printed print(const std::optional<std::string> &held) { return held.value_or(""); }
};

constexpr std::string_view NO_LOCATION = "Unknown";

constexpr field<vpn_intf> fields_of_interface[] = {
    {"name", as<name_text, &vpn_intf::name>},
    {"interface", as<as_text, &vpn_intf::interface>},
    {"addr", as<address, &vpn_intf::addr>},
    {"broadcast", as<address, &vpn_intf::broadcast>},
    {"netmask", as<network_mask, &vpn_intf::netmask>},
    {"location", as<word_or<location_list, NO_LOCATION>, &vpn_intf::location>},
};

// List and element in one number.
std::uint64_t number_of(const vpn_intf &intf)
{
    return std::uint64_t{static_cast<u32>(intf.listno)} << 32 | static_cast<u32>(intf.elemno);
}

record_index<vpn_intf, number_of> numbers;
record_index<vpn_intf, &vpn_intf::addr> addresses;

vpn_intf &interface_numbered(std::int32_t listno, std::int32_t elemno)
{
    auto wanted = std::make_unique<vpn_intf>();
    wanted->listno = listno;
    wanted->elemno = elemno;
    if (vpn_intf *found = numbers.find(intf_list, number_of(*wanted)))
        return *found;
    intf_list.push_back(std::move(wanted));
    return *intf_list.back();
}

bool is_usable(const vpn_intf &intf)
{
    const auto is_missing = [](u32 word) { return word == 0 || word == NOT_AN_ADDRESS; };
    return !intf.interface.empty() && !is_missing(intf.addr) && !is_missing(intf.netmask);
}

bool is_alias(const vpn_intf &intf)
{
    return intf.interface.find(':') != std::string::npos;
}

// Merges two records with the same address: they are one interface that is in two lists.
void merge(vpn_intf &kept, vpn_intf &other)
{
    const auto take = [&](auto member, std::string_view field) {
        note_moved(&other, field, &kept, field);
        std::swap(kept.*member, other.*member);
    };
    if (kept.location == 0)
        take(&vpn_intf::location, "location");
    if (kept.broadcast == 0 || kept.broadcast == NOT_AN_ADDRESS)
        take(&vpn_intf::broadcast, "broadcast");
    if (is_alias(kept) && !is_alias(other)) {
        take(&vpn_intf::interface, "interface");
        kept.name.reset();
    }
    if (!kept.name)
        take(&vpn_intf::name, "name");
}

void merge_equal_addresses()
{
    std::unordered_map<u32, vpn_intf *> by_address;
    for (auto &intf : intf_list) {
        const auto [place, is_new] = by_address.try_emplace(intf->addr, intf.get());
        if (is_new)
            continue;
        note_dropped(left_out::SAME_ADDRESS, intf.get(), place->second);
        merge(*place->second, *intf);
        intf.reset();
    }
    std::erase(intf_list, nullptr);
}

// Unknown locations go last.
int place_of(const vpn_intf &intf)
{
    constexpr int LAST = 5;
    return intf.location == 0 ? LAST : intf.location;
}

} // namespace

constinit const field_table<vpn_intf> flatlink::interface_fields = fields_of_interface;

void add_partial_intf(std::int32_t listno, std::int32_t elemno, std::string_view key,
                      std::string_view value)
{
    addresses.invalidate();
    (void)within_memory(SPACED_MALLOC_FAILURE, [&](const char *&message) {
        vpn_intf &intf = interface_numbered(listno, elemno);
        (void)store_field<vpn_intf>(interface_fields, intf, key, value, message);
        return 0;
    });
}

void finish_intfs()
{
    numbers.invalidate();
    addresses.invalidate();
    std::erase_if(intf_list, [](const auto &intf) {
        const bool is_useless = !is_usable(*intf);
        if (is_useless)
            note_dropped(left_out::NO_INTERFACE, intf.get());
        return is_useless;
    });
    for (const auto &intf : intf_list)
        intf->network = intf->addr & intf->netmask;
    merge_equal_addresses();
    std::stable_sort(intf_list.begin(), intf_list.end(),
                     [](const auto &a, const auto &b) { return place_of(*a) < place_of(*b); });
}

void save_intfs(std::FILE *stream, const record_list<vpn_intf> &list)
{
    for (const auto &intf : list) {
        const std::string list_prefix = numbered("netobj_list", intf->listno);
        print_fields<vpn_intf>(
            record_writer(stream, numbered(list_prefix + "element", intf->elemno)),
            interface_fields, *intf);
    }
}

bool isfwaddr(u32 addr_be)
{
    return addr_be == network_order(INADDR_LOOPBACK) ||
           addresses.find(intf_list, addr_be) != nullptr;
}

u32 ifname2addr(std::string_view name)
{
    const auto found = std::find_if(intf_list.begin(), intf_list.end(),
                                    [name](const auto &intf) { return intf->interface == name; });
    return found == intf_list.end() ? 0 : (*found)->addr;
}
