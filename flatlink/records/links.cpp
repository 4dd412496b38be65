#include "flatlink/records/links.h"

#include <limits>

#include "flatlink/records/line.h"
#include "flatlink/records/link_fields.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "lib/ulib/text.h"

namespace
{

using store_function = void (*)(linkinfo &link, std::string_view value);

struct link_field {
    std::string_view key;
    store_function store;
};

template <auto member> void store_text(linkinfo &link, std::string_view value)
{
    link.*member = value;
}

template <auto member> void store_peer_text(linkinfo &link, std::string_view value)
{
    link.peer.*member = value;
}

template <auto member, const auto &table> void store_name(linkinfo &link, std::string_view value)
{
    using field = std::remove_reference_t<decltype(link.*member)>;
    link.*member = static_cast<field>(parsenametonum(table, value));
}

template <auto member> void store_number(linkinfo &link, std::string_view value)
{
    using field = std::remove_reference_t<decltype(link.*member)>;
    link.*member = static_cast<field>(take_number(value));
}

template <auto member> void store_address(linkinfo &link, std::string_view value)
{
    link.*member = address_of(std::string(value));
}

template <auto address, auto text> void store_both(linkinfo &link, std::string_view value)
{
    const u32 addr = address_of(std::string(value));
    store_text<text>(link, value);
    link.*address = addr;
}

void store_pool(linkinfo &link, std::string_view value)
{
    store_modecfg(link.modecfg_mode, link.modecfg, value);
}

// No line clears a bit that another line set.
void store_enforced(linkinfo &link, std::string_view value)
{
    if (!same_word(value, "Optional"))
        link.xgwflags |= XGW_ENFORCED;
}

void store_used(linkinfo &link, std::string_view value)
{
    if (same_word(value, "On"))
        link.xgwflags |= XGW_USED;
}

void store_key(linkinfo &link, std::string_view value)
{
    link.peer.key = static_cast<std::int32_t>(take_number(value));
}

void store_maxdepth(linkinfo &link, std::string_view value)
{
    link.peer.maxdepth = static_cast<std::int32_t>(take_number(value));
}

void store_san_type(linkinfo &link, std::string_view value)
{
    link.peer.san_type = parsenametonum(san_list, value);
}

constexpr link_field link_fields[] = {
    {"lname", store_text<&linkinfo::lname>},
    {"description", store_text<&linkinfo::description>},
    {"lnetwork_start_address",
     store_both<&linkinfo::lnetwork_start, &linkinfo::lnetwork_start_address>},
    {"lnetwork_delimiter", store_address<&linkinfo::lnetwork_delimiter>},
    {"lnetwork_type", store_name<&linkinfo::lnetwork_type, addrid_list>},
    {"rnetwork_start_address",
     store_both<&linkinfo::rnetwork_start, &linkinfo::rnetwork_start_address>},
    {"rnetwork_delimiter", store_address<&linkinfo::rnetwork_delimiter>},
    {"rnetwork_type", store_name<&linkinfo::rnetwork_type, addrid_list>},
    {"gateway", store_both<&linkinfo::gateway_addr, &linkinfo::gateway>},
    {"secret", store_peer_text<&peerauth::secret>},
    {"modecfg", store_pool},
    {"key", store_key},
    {"rulenumber", store_number<&linkinfo::rulenumber>},
    {"rulelabel", store_text<&linkinfo::rulelabel>},
    {"san_type", store_san_type},
    {"maxdepth", store_maxdepth},
    {"auth", store_name<&linkinfo::auth, auth_list>},
    {"ikepolicy", store_text<&linkinfo::ikepolicy>},
    {"ipsecpolicy", store_text<&linkinfo::ipsecpolicy>},
    {"logging", store_name<&linkinfo::logging, debug_list>},
    {"legacy", store_name<&linkinfo::legacy, onoff_list>},
    {"fixed_remote", store_name<&linkinfo::fixed_remote, onoff_list>},
    {"xgwenforced", store_enforced},
    {"use_xgw", store_used},
    {"df_bit", store_name<&linkinfo::df_bit, dfbit_list>},
    {"nesting-level", store_number<&linkinfo::nesting_level>},
};

record_index<linkinfo, &linkinfo::linkno> numbers;

} // namespace

void forget_link_numbers()
{
    numbers.forget();
}

static bool store_field(linkinfo &link, std::string_view key, std::string_view value)
{
    for (const link_field &field : link_fields) {
        if (field.key == key) {
            field.store(link, value);
            return true;
        }
    }
    return store_certificate_name(link.peer, key, value);
}

static linkinfo *append_link(long number)
{
    auto link = std::make_unique<linkinfo>();
    link->linkno = static_cast<std::uint16_t>(number);
    link->rulenumber = static_cast<std::int32_t>(number);
    linkinfos.push_back(std::move(link));
    return linkinfos.back().get();
}

// Numbers have 16 bits: a line with another never finds its record. Each such line makes one, and
// as a record without a name is dropped in the end, only the line with the name has an effect.
// The others fill a record that nobody keeps, unless it would be the first of its low 16 bits.
static linkinfo &record_beyond_numbers(long number, std::string_view key)
{
    static linkinfo unkept;
    const auto low = static_cast<std::uint16_t>(number);
    if (key == "lname" || numbers.find(linkinfos, low) == nullptr)
        return *append_link(number);
    unkept = linkinfo();
    return unkept;
}

static linkinfo &record_of(long number, std::string_view key)
{
    if (number < 0 || number > std::numeric_limits<std::uint16_t>::max())
        return record_beyond_numbers(number, key);
    linkinfo *link = numbers.find(linkinfos, static_cast<std::uint16_t>(number));
    return link != nullptr ? *link : *append_link(number);
}

static int store_line(long number, std::string_view key, std::string_view value)
{
    linkinfo &link = record_of(number, key);
    if (!store_field(link, key, value))
        complain("vpndata: Unrecognized VPN field (" + std::string(key) + "=" + std::string(value) +
                 ") on vlink_" + std::to_string(number));
    return 0;
}

int add_partial_linkinfo(std::string_view rest)
{
    std::string_view after_number = rest;
    const long number = take_number(after_number);
    condfprintf(fout, "<<vlink_%.*s\n", static_cast<int>(rest.size()), rest.data());
    const line_parts line = split_line(after_number);
    if (!line.key.starts_with('_') || !line.has_equals) {
        complain("vpndata: BAD format vlink_" + std::string(rest));
        return 1;
    }
    if (line.value.empty())
        return 0;
    return within_memory(SPACED_MALLOC_FAILURE, [number, &line](const char *&) {
        return store_line(number, line.key.substr(1), line.value);
    });
}

// ---- the way out

static void save_gateway(const record_writer &out, const linkinfo &link)
{
    const bool is_fixed = !link.gateway.empty() && link.gateway[0] != '*' && link.fixed_remote != 0;
    out.text("gateway", is_fixed ? std::string_view(link.gateway) : "*");
    out.text("fixed_remote", is_fixed ? "On" : "Off");
    if (link.xgwflags & XGW_USED) {
        out.text("use_xgw", "On");
        out.text("xgwenforced", link.xgwflags & XGW_ENFORCED ? "Enforce" : "Allow");
    } else {
        out.text("use_xgw", "Off");
    }
}

static void save_networks(const record_writer &out, const linkinfo &link)
{
    out.text_if_set("lnetwork_start_address", link.lnetwork_start_address);
    out.address("lnetwork_delimiter", link.lnetwork_delimiter);
    out.text("lnetwork_type", parsenumtoname(addrid_list, link.lnetwork_type));
    out.text_if_set("rnetwork_start_address", link.rnetwork_start_address);
    out.address("rnetwork_delimiter", link.rnetwork_delimiter);
    out.text("rnetwork_type", parsenumtoname(addrid_list, link.rnetwork_type));
}

void save_linkinfos(std::FILE *stream, const record_list<linkinfo> &list)
{
    int number = 0;
    for (const auto &link : list) {
        const record_writer out(stream, numbered("vlink", ++number));
        out.text_if_set("lname", link->lname);
        out.text_if_set("description", link->description);
        save_gateway(out, *link);
        out.text("auth", parsenumtoname(auth_list, link->auth));
        out.text_if_set("ikepolicy", link->ikepolicy);
        out.text_if_set("ipsecpolicy", link->ipsecpolicy);
        save_networks(out, *link);
        save_modecfg(out, link->modecfg_mode, link->modecfg);
        out.text_if_set("secret", link->peer.secret);
        out.padded("key", link->peer.key);
        save_certificate_names(out, link->peer);
        out.number("maxdepth", link->peer.maxdepth);
        out.text("logging", parsenumtoname(debug_list, link->logging));
        out.text("df_bit", parsenumtoname(dfbit_list, link->df_bit));
    }
}
