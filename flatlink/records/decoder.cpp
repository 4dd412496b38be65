#include "flatlink/records/decoder.h"

#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/line.h"
#include "flatlink/records/links.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/pools.h"
#include "flatlink/records/record_watch.h"
#include "flatlink/records/settings.h"
#include "lib/ulib/addr_mask.h"
#include "lib/ulib/text.h"

using namespace flatlink;

namespace
{

struct line_prefix {
    std::string_view prefix;
    void (*decode)(std::string_view rest);
};

void decode_pair(std::string_view rest)
{
    (void)add_partial_vpnlink(rest, PAIR_INDEX);
    autosortold = 1;
}

void decode_pass(std::string_view rest)
{
    (void)add_partial_vpnlink(rest, PASS_INDEX);
    autosortold = 1;
}

// Ignores the parsers' results, because reading goes on after a bad line. The first row that
// matches decides.
constexpr line_prefix line_prefixes[] = {
    {"ikePolicy_", [](std::string_view rest) { (void)add_partial_ikepol(rest); }},
    {"ipsecPolicy_", [](std::string_view rest) { (void)add_partial_ipsecpol(rest); }},
    {"vlink_", [](std::string_view rest) { (void)add_partial_linkinfo(rest); }},
    {"mcpool_", [](std::string_view rest) { (void)add_partial_mcpool(rest); }},
    {"link_", [](std::string_view rest) { (void)add_partial_vpnlink(rest, 0); }},
    {"pair_", decode_pair},
    {"pass_", decode_pass},
    {"key_", add_partial_swkey},
};

// The three lists of interfaces that are known by name.
const struct {
    std::string_view name;
    std::int32_t &id;
    u32 &addr;
    u32 &mask;
    std::string &face;
} special_lists[] = {
    {"Outside", outside_id, outside_addr, outside_mask, outside_face},
    {"Inside", inside_id, inside_addr, inside_mask, inside_face},
    {"Service", thirdside_id, thirdside_addr, thirdside_mask, thirdside_face},
};

u32 first_address(std::string_view value)
{
    u32 addr = 0;
    u32 mask = 0;
    waddrmask(std::string(value).c_str(), &addr, &mask);
    return addr;
}

// The first element of a list gives the side its address, mask and interface.
void update_special_list(std::int32_t listno, std::string_view key, std::string_view value)
{
    for (const auto &list : special_lists) {
        if (list.id != listno)
            continue;
        if (key == "addr")
            list.addr = first_address(value);
        else if (key == "netmask")
            list.mask = first_address(value);
        else if (key == "interface")
            list.face = value;
        return;
    }
}

void name_special_list(std::int32_t listno, std::string_view name)
{
    for (const auto &list : special_lists)
        if (list.name == name)
            list.id = listno;
}

// Takes "N_" off the key; false unless N is a number from 0 up.
bool take_index(std::string_view &key, std::int32_t &number)
{
    const long value = take_number(key);
    number = static_cast<std::int32_t>(value);
    return value >= 0 && take_prefix(key, "_");
}

} // namespace

bool decode_vpn_buffer(std::string_view line)
{
    constexpr std::size_t SHORTEST_LINE = 4;
    if (line.size() < SHORTEST_LINE || line[0] == '#')
        return true;
    for (const line_prefix &row : line_prefixes) {
        if (take_prefix(line, row.prefix)) {
            row.decode(line);
            return true;
        }
    }
    return take_prefix(line, "vpn_") && store_setting(line);
}

static void decode_interface_line(std::string_view key, std::string_view value)
{
    std::int32_t listno = 0;
    std::int32_t elemno = 0;
    if (!take_index(key, listno))
        return;
    if (key == "name") {
        name_special_list(listno, value);
    } else if (take_prefix(key, "element_") && take_index(key, elemno)) {
        add_partial_intf(listno, elemno, key, value);
        if (elemno == 1)
            update_special_list(listno, key, value);
    }
}

int decode_nonvpn_buffer(std::string_view line)
{
    line_parts parts = split_line(line);
    if (parts.value.empty()) // what is known stays
        return 0;
    const auto store_name = [&parts](std::string &name) {
        note_stored(&name, parts.key, parts.value);
        name = parts.value;
    };
    if (parts.key == "ip_hostname")
        store_name(ip_hostname);
    else if (parts.key == "ip_domainname")
        store_name(ip_domainname);
    else if (take_prefix(parts.key, "netobj_list_"))
        decode_interface_line(parts.key, parts.value);
    return 0;
}
