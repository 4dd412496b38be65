#include "flatlink/records/old_links.h"

#include "flatlink/records/line.h"
#include "flatlink/records/link_fields.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/numbered_line.h"
#include "lib/ulib/text.h"

#include <algorithm>

using namespace flatlink;

namespace
{

constexpr name_num type_list[] = {
    {"pass", LINK_PASS}, {"private", LINK_PRIVATE}, {"trusted", LINK_TRUSTED}};

// A group without perfect forward secrecy is Off; On asks for the usual group.
constexpr name_num pfs_list[] = {{"768-bit", 1}, {"1024-bit", 2}, {"On", 2}, {"1536-bit", 5}};

constexpr name_num ipcomp_words[] = {{"Off", 1}, {"On", 0}};

constexpr std::int32_t USUAL_GROUP = 2; // 1024-bit

constexpr std::string_view USUAL_GROUP_WORD = "1024-bit";
constexpr std::string_view NO_PFS = "Off";
constexpr std::string_view NO_CIPHER = "none";
constexpr std::string_view USUAL_TYPE = "private";

// A word that is none leaves the type alone.
struct link_type : word_or<type_list, USUAL_TYPE> {
    static void read(std::int32_t &held, std::string_view value)
    {
        for (const name_num &row : type_list)
            if (same_word(row.name, value))
                held = row.number;
    }
};

struct ike_group : word_or<ikegroup_list, USUAL_GROUP_WORD> {
    static void read(std::int32_t &held, std::string_view value)
    {
        const std::int32_t group = parsenametonum(ikegroup_list, value);
        held = group != 0 ? group : USUAL_GROUP;
    }
};

// Only the two low bits of the field are the switch.
struct ipcomp_switch : word_of<ipcomp_words> {
    static printed print(std::int32_t held) { return (held & 3) == 1 ? "Off" : "On"; }
};

// Read as a decimal number, written as a hexadecimal one.
struct log_identifier : scanned_decimal {
    static printed print(std::int32_t held) { return hex_text(static_cast<u32>(held)); }
};

void store_rname(vpnlink &link, std::string_view value)
{
    link.rname = value;
    autosortold = 1;
}

void store_mode(vpnlink &link, std::string_view value)
{
    if (same_word(value, "swipe")) {
        link.mode = MODE_SWIPE;
        swipelinks = 1;
    } else {
        link.mode = parsenametonum(mode_list, value);
    }
}

printed print_mode(const vpnlink &link)
{
    if (link.mode != 0)
        return std::string(parsenumtoname(mode_list, link.mode));
    return !link.gateway.empty() && link.gateway[0] != '*' ? "isakmp" : "client";
}

using number_if_set = if_set<scanned_decimal>;
template <const auto &table> using word_if_set = if_set<word_of<table>>;

template <auto member> constexpr auto text = as<if_set<as_text>, member>;

template <typename codec, auto member> constexpr auto ike = as<codec, &vpnlink::ike, member>;

template <typename codec, auto member> constexpr auto ipsec = as<codec, &vpnlink::ipsec, member>;

constexpr auto fields_of_link = std::to_array<field<vpnlink>>({
    {"lname", text<&vpnlink::lname>},
    {"laddress", text<&vpnlink::laddress>},
    {"gateway", text<&vpnlink::gateway>},
    {"raddress", text<&vpnlink::raddress>},
    {"type", as<link_type, &vpnlink::type>},
    {"logid", as<log_identifier, &vpnlink::logid>},
    {"ispi", as<hexadecimal, &vpnlink::ispi>},
    {"ospi", as<hexadecimal, &vpnlink::ospi>},
    {"mode", {store_mode, print_mode}},
    {"ikey", text<&vpnlink::ikey>, SECRET},
    {"okey", text<&vpnlink::okey>, SECRET},
    {"minto", as<number_if_set, &vpnlink::minto>},
    {"maxto", as<number_if_set, &vpnlink::maxto>},
    {"modecfg", pool_choice<&vpnlink::modecfg_mode, &vpnlink::modecfg>},
    {"preshrd", as<if_set<as_text>, &vpnlink::peer, &peerauth::secret>, SECRET},
    {"key", as<padded<scanned_decimal>, &vpnlink::peer, &peerauth::key>},
});

constexpr auto fields_after_names = std::to_array<field<vpnlink>>({
    {"auth", ike<word_if_set<auth_list>, &ikeparams::auth>},
    {"encr", ike<word_if_set<ealgo_list>, &ikeparams::encr>},
    {"hash", ike<word_if_set<hash_list>, &ikeparams::hash>},
    {"group", ike<ike_group, &ikeparams::group>},
    {"ltimeImax", ike<number_if_set, &ikeparams::ltimeImax>},
    {"ltimeImin", ike<number_if_set, &ikeparams::ltimeImin>},
    {"ldataImax", ike<number_if_set, &ikeparams::ldataImax>},
    {"ldataImin", ike<number_if_set, &ikeparams::ldataImin>},
    {"errIlim", ike<number_if_set, &ikeparams::errIlim>},
    {"qmcnt", ike<number_if_set, &ikeparams::qmcnt>},
    {"ealgo", ipsec<word_unless_zero<ealgo_list, NO_CIPHER>, &ipsecparams::ealgo>},
    {"aalgo", ipsec<word_of<aalgo_list>, &ipsecparams::aalgo>},
    {"pfs", ipsec<word_or<pfs_list, NO_PFS>, &ipsecparams::pfs>},
    {"ltimeIImax", ipsec<number_if_set, &ipsecparams::ltimeIImax>},
    {"ltimeIImin", ipsec<number_if_set, &ipsecparams::ltimeIImin>},
    {"ldataIImax", ipsec<number_if_set, &ipsecparams::ldataIImax>},
    {"ldataIImin", ipsec<number_if_set, &ipsecparams::ldataIImin>},
    {"errIIlim", ipsec<number_if_set, &ipsecparams::errIIlim>},
    {"debug", ipsec<word_of<debug_list>, &ipsecparams::debug>},
    {"ipcomp", ipsec<ipcomp_switch, &ipsecparams::ipcomp>},
    {"rname", {store_rname}, 0, RNAME_FAILURE},
    {"rkey", {[](vpnlink &, std::string_view) { autosortold = 1; }}},
    {"encaps", ignored<vpnlink>},
    {"trust", ignored<vpnlink>},
    {"interface", ignored<vpnlink>},
    {"iaspi", ignored<vpnlink>},
    {"iv64", ignored<vpnlink>},
    {"oaspi", ignored<vpnlink>},
    {"sqnum", ignored<vpnlink>},
});

constexpr auto all_old_link_fields = joined<vpnlink>(
    fields_of_link, rows_inside<&vpnlink::peer, certificate_fields>(), fields_after_names);

record_index<vpnlink, &vpnlink::index> numbers;

vpnlink &link_numbered(std::int32_t index)
{
    if (vpnlink *found = numbers.find(links, index))
        return *found;
    links.push_back(std::make_unique<vpnlink>());
    links.back()->index = index;
    return *links.back();
}

void complain_of_field(const numbered_line &line, std::int32_t index)
{
    std::string family = "link";
    if (index >= PAIR_INDEX) {
        index -= PAIR_INDEX;
        family = "pair";
    }
    if (index >= PAIR_INDEX) {
        index -= PAIR_INDEX;
        family = "pass";
    }
    complain("vpndata:Unrecognized VPNLINK field (" + std::string(line.key) + "=" +
             std::string(line.value) + ") on " + family + " " + std::to_string(index));
}

} // namespace

constinit const field_table<vpnlink> flatlink::old_link_fields = all_old_link_fields;

void flatlink::invalidate_vpnlink_index()
{
    numbers.invalidate();
}

int add_partial_vpnlink(std::string_view rest, std::int32_t offset)
{
    const numbered_line line = read_numbered_line(rest);
    if (line.number < 0 || line.number > HIGHEST_LINE_NUMBER) {
        complain("vpndata:Link index BAD " + std::to_string(line.number));
        return 1;
    }
    if (line.value.empty())
        return 1;
    return within_memory(MALLOC_FAILURE,
                         [&line, index = line.number + offset](const char *&message) {
                             if (!store_field<vpnlink>(old_link_fields, link_numbered(index),
                                                       line.key, line.value, message))
                                 complain_of_field(line, index);
                             return 0;
                         });
}

// ---- finishing

void order_vpnlinks()
{
    numbers.invalidate();
    std::stable_sort(links.begin(), links.end(),
                     [](const auto &a, const auto &b) { return a->index < b->index; });
    std::erase_if(links, [](const auto &link) { return link->mode == MODE_UNSET; });
    for (const auto &link : links)
        if (link->logid == 0)
            link->logid = link->index;
}

void merge_pair_links()
{
    for (const auto &link : links) {
        if (!link->rname.empty()) {
            link->lname += " <=> " + link->rname;
            link->rname.clear();
        }
        if (link->index >= PASS_INDEX)
            link->type = LINK_PASS;
        else if (link->index >= PAIR_INDEX)
            link->type = LINK_TRUSTED;
    }
    vpnauto_sort();
}

void upgrade_swipe_links()
{
    for (const auto &link : links) {
        if (link->mode != MODE_SWIPE)
            continue;
        link->mode = parsenametonum(mode_list, "isakmp");
        link->ike.auth = parsenametonum(auth_list, "rsa");
        link->ike.encr = parsenametonum(ealgo_list, "CAST");
        link->ike.hash = parsenametonum(hash_list, "MD5");
        link->ike.group = USUAL_GROUP;
        link->ike.ltimeImax = 480;
        link->peer.scn = link->gateway;
        link->ipsec.ealgo = parsenametonum(ealgo_list, "CAST");
        link->ipsec.aalgo = parsenametonum(aalgo_list, "HMAC MD5");
        link->ipsec.pfs = 0;
        link->ipsec.ltimeIImax = 120;
    }
}

void save_vpnlinks(std::FILE *stream, const record_list<vpnlink> &list, std::string_view prefix)
{
    int number = 0;
    for (const auto &link : list) {
        if (link->ipsec.aalgo == 0)
            link->ipsec.aalgo = parsenametonum(aalgo_list, "HMAC MD5");
        print_fields<vpnlink>(record_writer(stream, numbered_padded(prefix, ++number)),
                              old_link_fields, *link);
    }
}
