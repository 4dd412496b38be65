#include "flatlink/records/links.h"

#include "flatlink/records/line.h"
#include "flatlink/records/link_fields.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <limits>

using namespace flatlink;

namespace
{

// An address as it was written, with its number, which is what counts.
template <auto number, auto text>
constexpr form<linkinfo> address_text{
    [](linkinfo &link, std::string_view value) {
        const u32 addr = parse_address(value);
        link.*text = value;
        link.*number = addr;
    },
    [](const linkinfo &link) { return if_set<as_text>::print(link.*text); }, by<number>};

// Without a fixed gateway neither its text nor what a line said about it is written.
printed print_gateway(const linkinfo &link)
{
    if (!has_fixed_gateway(link))
        return "*";
    return link.gateway;
}

printed print_fixed_remote(const linkinfo &link)
{
    return has_fixed_gateway(link) ? "On" : "Off";
}

// No line clears a bit that another line set.
void store_used(linkinfo &link, std::string_view value)
{
    note_unless_word(value, "On", "Off");
    if (same_word(value, "On"))
        link.xgwflags |= XGW_USED;
}

void store_enforced(linkinfo &link, std::string_view value)
{
    if (!same_word(value, "Optional"))
        link.xgwflags |= XGW_ENFORCED;
}

printed print_used(const linkinfo &link)
{
    return link.xgwflags & XGW_USED ? "On" : "Off";
}

printed print_enforced(const linkinfo &link)
{
    if ((link.xgwflags & XGW_USED) == 0)
        return std::nullopt;
    return link.xgwflags & XGW_ENFORCED ? "Enforce" : "Allow";
}

constexpr auto fields_of_link = std::to_array<field<linkinfo>>({
    {"lname", as<if_set<as_text>, &linkinfo::lname>, MAY_DIFFER},
    {"description", as<if_set<as_text>, &linkinfo::description>, MAY_DIFFER},
    {"gateway",
     {address_text<&linkinfo::gateway_addr, &linkinfo::gateway>.store, print_gateway,
      by<&linkinfo::gateway_addr>}},
    {"fixed_remote",
     {as<word_of<onoff_list>, &linkinfo::fixed_remote>.store, print_fixed_remote,
      by<&linkinfo::fixed_remote>}},
    {"use_xgw", {store_used, print_used, by<&linkinfo::xgwflags>}},
    {"xgwenforced", {store_enforced, print_enforced, by<&linkinfo::xgwflags>}},
    {"auth", as<word_of<auth_list>, &linkinfo::auth>},
    {"ikepolicy", as<if_set<as_text>, &linkinfo::ikepolicy>, MAY_DIFFER},
    {"ipsecpolicy", as<if_set<as_text>, &linkinfo::ipsecpolicy>, MAY_DIFFER},
    {"lnetwork_start_address",
     address_text<&linkinfo::lnetwork_start, &linkinfo::lnetwork_start_address>},
    {"lnetwork_delimiter", as<address, &linkinfo::lnetwork_delimiter>},
    {"lnetwork_type", as<word_of<addrid_list>, &linkinfo::lnetwork_type>},
    {"rnetwork_start_address",
     address_text<&linkinfo::rnetwork_start, &linkinfo::rnetwork_start_address>},
    {"rnetwork_delimiter", as<address, &linkinfo::rnetwork_delimiter>},
    {"rnetwork_type", as<word_of<addrid_list>, &linkinfo::rnetwork_type>},
    {"modecfg", pool_choice<&linkinfo::modecfg_mode, &linkinfo::modecfg>, 0, MALLOC_FAILURE},
    {"secret", as<if_set<as_text>, &linkinfo::peer, &peerauth::secret>, SECRET},
    {"key", as<padded<decimal>, &linkinfo::peer, &peerauth::key>},
});

constexpr auto fields_after_names = std::to_array<field<linkinfo>>({
    {"maxdepth", as<decimal, &linkinfo::peer, &peerauth::maxdepth>},
    {"logging", as<word_of<debug_list>, &linkinfo::logging>},
    {"df_bit", as<word_of<dfbit_list>, &linkinfo::df_bit>},
    {"legacy", as<word_of<onoff_list>, &linkinfo::legacy>, NOT_WRITTEN},
    {"rulenumber", as<decimal, &linkinfo::rulenumber>, NOT_WRITTEN | MAY_DIFFER},
    {"rulelabel", as<as_text, &linkinfo::rulelabel>, NOT_WRITTEN | MAY_DIFFER, SILENT_FAILURE},
    {"nesting-level", as<decimal, &linkinfo::nesting_level>, NOT_WRITTEN | MAY_DIFFER},
});

constexpr auto all_link_fields = joined<linkinfo>(
    fields_of_link, rows_inside<&linkinfo::peer, certificate_fields>(), fields_after_names);

record_index<linkinfo, &linkinfo::linkno> numbers;

constexpr std::string_view TRACE_MARK = "<<vlink_";

} // namespace

constinit const field_table<linkinfo> flatlink::link_fields = all_link_fields;

bool flatlink::has_fixed_gateway(const linkinfo &link)
{
    return link.fixed_remote != 0 && !link.gateway.empty() && link.gateway[0] != '*';
}

void flatlink::invalidate_link_index()
{
    numbers.invalidate();
}

static linkinfo *append_link(long number)
{
    auto link = std::make_unique<linkinfo>();
    link->linkno = static_cast<std::uint16_t>(number);
    link->rulenumber = static_cast<std::int32_t>(number);
    linkinfos.push_back(std::move(link));
    return linkinfos.back().get();
}

// Numbers have 16 bits, so a line with a larger one never finds its record again: each such line
// makes a record of its own. Records without a name are dropped at the end, so only the line with
// the name has an effect; the others go to a discarded link, except the first of its low 16 bits,
// whose record later lines in range would find.
static linkinfo &record_out_of_range(long number, std::string_view key)
{
    static linkinfo discarded_link;
    const auto low = static_cast<std::uint16_t>(number);
    if (key == "lname" || numbers.find(linkinfos, low) == nullptr)
        return *append_link(number);
    discarded_link = linkinfo();
    return discarded_link;
}

static linkinfo &record_of(long number, std::string_view key)
{
    if (number < 0 || number > std::numeric_limits<std::uint16_t>::max())
        return record_out_of_range(number, key);
    linkinfo *link = numbers.find(linkinfos, static_cast<std::uint16_t>(number));
    return link != nullptr ? *link : *append_link(number);
}

static void store_value(linkinfo &link, long number, std::string_view key, std::string_view value,
                        const char *&message)
{
    if (!store_field<linkinfo>(link_fields, link, key, value, message))
        complain("vpndata: Unrecognized VPN field (" + std::string(key) + "=" + std::string(value) +
                 ") on vlink_" + std::to_string(number));
}

int add_partial_linkinfo(std::string_view rest)
{
    std::string_view after_number = rest;
    const long number = take_number(after_number);
    trace_line(fout, {TRACE_MARK, rest, "\n"});
    const line_parts line = split_line(after_number);
    if (!line.key.starts_with('_') || !line.has_equals) {
        complain("vpndata: BAD format vlink_" + std::string(rest));
        return 1;
    }
    if (line.value.empty())
        return 0;
    return within_memory(SPACED_MALLOC_FAILURE, [number, &line](const char *&message) {
        const std::string_view key = line.key.substr(1);
        store_value(record_of(number, key), number, key, line.value, message);
        return 0;
    });
}

link_lines::link_lines(std::uint16_t number)
    : number_(number), prefix_(std::string(TRACE_MARK) + std::to_string(number) + "_")
{
}

std::size_t link_lines::line_size(std::string_view key, std::string_view value) const
{
    const std::size_t number_size = prefix_.size() - TRACE_MARK.size();
    return std::min(number_size + key.size() + 1 + value.size(), LINE_SIZE - 1);
}

int link_lines::add(std::string_view key, std::string_view value)
{
    const std::size_t room = LINE_SIZE - 1 - line_size(key, {});
    if (value.size() > room) {
        value = value.substr(0, room);
        note_cut(make_line(std::string_view(prefix_).substr(TRACE_MARK.size()), key, value));
    }
    trace_line(fout, {prefix_, key, "=", value, "\n"});
    if (value.empty())
        return 0;
    return within_memory(SPACED_MALLOC_FAILURE, [this, key, value](const char *&message) {
        if (link_ == nullptr)
            link_ = &record_of(number_, key);
        store_value(*link_, number_, key, value, message);
        return 0;
    });
}

void save_linkinfos(std::FILE *stream, const record_list<linkinfo> &list)
{
    int number = 0;
    for (const auto &link : list)
        print_fields<linkinfo>(record_writer(stream, numbered("vlink", ++number)), link_fields,
                               *link);
}
