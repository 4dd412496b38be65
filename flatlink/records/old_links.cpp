#include "flatlink/records/old_links.h"

#include <algorithm>

#include "flatlink/records/line.h"
#include "flatlink/records/link_fields.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/numbered_line.h"
#include "lib/ulib/text.h"

namespace
{

struct old_link_field {
    std::string_view key;
    void (*store)(vpnlink &link, std::string_view value);
};

constexpr name_num type_list[] = {
    {"pass", LINK_PASS}, {"private", LINK_PRIVATE}, {"trusted", LINK_TRUSTED}};

// A group without perfect forward secrecy is Off; On asks for the usual group.
constexpr name_num pfs_list[] = {{"768-bit", 1}, {"On", 2}, {"1024-bit", 2}, {"1536-bit", 5}};

constexpr std::int32_t USUAL_GROUP = 2; // 1024-bit

template <auto member> void store_text(vpnlink &link, std::string_view value)
{
    link.*member = value;
}

template <auto member> void store_number(vpnlink &link, std::string_view value)
{
    (void)scan_number(value, link.*member); // no number: the field stays
}

template <auto member> void store_hex(vpnlink &link, std::string_view value)
{
    (void)scan_hex(value, link.*member);
}

template <auto member> void store_ike(vpnlink &link, std::string_view value)
{
    (void)scan_number(value, link.ike.*member);
}

template <auto member> void store_ipsec(vpnlink &link, std::string_view value)
{
    (void)scan_number(value, link.ipsec.*member);
}

template <auto member, const auto &table> void store_ike_word(vpnlink &link, std::string_view value)
{
    link.ike.*member = parsenametonum(table, value);
}

template <auto member, const auto &table>
void store_ipsec_word(vpnlink &link, std::string_view value)
{
    link.ipsec.*member = parsenametonum(table, value);
}

void store_rname(vpnlink &link, std::string_view value)
{
    link.rname = value;
    autosortold = 1;
}

void store_type(vpnlink &link, std::string_view value)
{
    for (const name_num &row : type_list)
        if (same_word(row.name, value))
            link.type = row.number;
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

void store_pool(vpnlink &link, std::string_view value)
{
    store_modecfg(link.modecfg_mode, link.modecfg, value);
}

void store_group(vpnlink &link, std::string_view value)
{
    const std::int32_t group = parsenametonum(ikegroup_list, value);
    link.ike.group = group != 0 ? group : USUAL_GROUP;
}

void ignore(vpnlink &, std::string_view) {}

constexpr old_link_field old_link_fields[] = {
    {"lname", store_text<&vpnlink::lname>},
    {"rname", store_rname},
    {"laddress", store_text<&vpnlink::laddress>},
    {"raddress", store_text<&vpnlink::raddress>},
    {"gateway", store_text<&vpnlink::gateway>},
    {"logid", store_number<&vpnlink::logid>},
    {"minto", store_number<&vpnlink::minto>},
    {"maxto", store_number<&vpnlink::maxto>},
    {"type", store_type},
    {"ispi", store_hex<&vpnlink::ispi>},
    {"ospi", store_hex<&vpnlink::ospi>},
    {"mode", store_mode},
    {"modecfg", store_pool},
    {"ikey", store_text<&vpnlink::ikey>},
    {"okey", store_text<&vpnlink::okey>},
    {"preshrd", [](vpnlink &link, std::string_view value) { link.peer.secret = value; }},
    {"key", [](vpnlink &link, std::string_view value) { (void)scan_number(value, link.peer.key); }},
    {"san_type",
     [](vpnlink &link, std::string_view value) {
         link.peer.san_type = parsenametonum(san_list, value);
     }},
    {"auth", store_ike_word<&ikeparams::auth, auth_list>},
    {"encr", store_ike_word<&ikeparams::encr, ealgo_list>},
    {"hash", store_ike_word<&ikeparams::hash, hash_list>},
    {"group", store_group},
    {"qmcnt", store_ike<&ikeparams::qmcnt>},
    {"ltimeImax", store_ike<&ikeparams::ltimeImax>},
    {"ltimeImin", store_ike<&ikeparams::ltimeImin>},
    {"ldataImax", store_ike<&ikeparams::ldataImax>},
    {"ldataImin", store_ike<&ikeparams::ldataImin>},
    {"errIlim", store_ike<&ikeparams::errIlim>},
    {"ealgo", store_ipsec_word<&ipsecparams::ealgo, ealgo_list>},
    {"aalgo", store_ipsec_word<&ipsecparams::aalgo, aalgo_list>},
    {"pfs", store_ipsec_word<&ipsecparams::pfs, pfs_list>},
    {"rkey", [](vpnlink &, std::string_view) { autosortold = 1; }},
    {"ltimeIImax", store_ipsec<&ipsecparams::ltimeIImax>},
    {"ltimeIImin", store_ipsec<&ipsecparams::ltimeIImin>},
    {"ldataIImax", store_ipsec<&ipsecparams::ldataIImax>},
    {"ldataIImin", store_ipsec<&ipsecparams::ldataIImin>},
    {"errIIlim", store_ipsec<&ipsecparams::errIIlim>},
    {"debug", store_ipsec_word<&ipsecparams::debug, debug_list>},
    {"ipcomp", [](vpnlink &link,
                  std::string_view value) { link.ipsec.ipcomp = same_word(value, "Off") ? 1 : 0; }},
    {"encaps", ignore},
    {"trust", ignore},
    {"interface", ignore},
    {"iaspi", ignore},
    {"iv64", ignore},
    {"oaspi", ignore},
    {"sqnum", ignore},
};

record_index<vpnlink, &vpnlink::index> numbers;

vpnlink &link_numbered(std::int32_t index)
{
    if (vpnlink *found = numbers.find(links, index))
        return *found;
    links.push_back(std::make_unique<vpnlink>());
    links.back()->index = index;
    return *links.back();
}

bool store_field(vpnlink &link, const numbered_line &line)
{
    for (const old_link_field &field : old_link_fields) {
        if (field.key == line.key) {
            field.store(link, line.value);
            return true;
        }
    }
    return store_certificate_name(link.peer, line.key, line.value);
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

void forget_vpnlink_numbers()
{
    numbers.forget();
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
    return within_memory(MALLOC_FAILURE, [&line, index = line.number + offset](const char *&) {
        if (!store_field(link_numbered(index), line))
            complain_of_field(line, index);
        return 0;
    });
}

// ---- finishing

void order_vpnlinks()
{
    numbers.forget();
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

// ---- the way out

static void number_if_set(const record_writer &out, std::string_view key, std::int32_t value)
{
    if (value != 0)
        out.number(key, value);
}

static void word_if_set(const record_writer &out, std::string_view key, name_table table,
                        std::int32_t value)
{
    if (value != 0)
        out.text(key, parsenumtoname(table, value));
}

static std::string hex_text(u32 value)
{
    std::string digits(8, '\0');
    digits.resize(
        static_cast<std::size_t>(std::snprintf(digits.data(), digits.size() + 1, "%x", value)));
    return digits;
}

static std::string_view mode_word(const vpnlink &link)
{
    if (link.mode != 0)
        return parsenumtoname(mode_list, link.mode);
    return !link.gateway.empty() && link.gateway[0] != '*' ? "isakmp" : "client";
}

static void save_ike(const record_writer &out, const ikeparams &ike)
{
    word_if_set(out, "auth", auth_list, ike.auth);
    word_if_set(out, "encr", ealgo_list, ike.encr);
    word_if_set(out, "hash", hash_list, ike.hash);
    const std::string_view group = parsenumtoname(ikegroup_list, ike.group);
    out.text("group", group.empty() ? "1024-bit" : group);
    number_if_set(out, "ltimeImax", ike.ltimeImax);
    number_if_set(out, "ltimeImin", ike.ltimeImin);
    number_if_set(out, "ldataImax", ike.ldataImax);
    number_if_set(out, "ldataImin", ike.ldataImin);
    number_if_set(out, "errIlim", ike.errIlim);
    number_if_set(out, "qmcnt", ike.qmcnt);
}

static void save_ipsec(const record_writer &out, ipsecparams &ipsec)
{
    out.text("ealgo", ipsec.ealgo == 0 ? "none" : parsenumtoname(ealgo_list, ipsec.ealgo));
    if (ipsec.aalgo == 0)
        ipsec.aalgo = parsenametonum(aalgo_list, "HMAC MD5");
    out.text("aalgo", parsenumtoname(aalgo_list, ipsec.aalgo));
    const std::string_view group = parsenumtoname(ikegroup_list, ipsec.pfs);
    out.text("pfs", group.empty() ? "Off" : group);
    number_if_set(out, "ltimeIImax", ipsec.ltimeIImax);
    number_if_set(out, "ltimeIImin", ipsec.ltimeIImin);
    number_if_set(out, "ldataIImax", ipsec.ldataIImax);
    number_if_set(out, "ldataIImin", ipsec.ldataIImin);
    number_if_set(out, "errIIlim", ipsec.errIIlim);
    out.text("debug", parsenumtoname(debug_list, ipsec.debug));
    out.text("ipcomp", (ipsec.ipcomp & 3) == 1 ? "Off" : "On");
}

static void save_link(const record_writer &out, vpnlink &link)
{
    out.text_if_set("lname", link.lname);
    out.text_if_set("laddress", link.laddress);
    out.text_if_set("gateway", link.gateway);
    out.text_if_set("raddress", link.raddress);
    const std::string_view type = parsenumtoname(type_list, link.type);
    out.text("type", type.empty() ? "private" : type);
    out.text("logid", hex_text(static_cast<u32>(link.logid)));
    out.text("ispi", hex_text(link.ispi));
    out.text("ospi", hex_text(link.ospi));
    out.text("mode", mode_word(link));
    out.text_if_set("ikey", link.ikey);
    out.text_if_set("okey", link.okey);
    number_if_set(out, "minto", link.minto);
    number_if_set(out, "maxto", link.maxto);
    save_modecfg(out, link.modecfg_mode, link.modecfg);
    out.text_if_set("preshrd", link.peer.secret);
    out.padded("key", link.peer.key);
    save_certificate_names(out, link.peer);
    save_ike(out, link.ike);
    save_ipsec(out, link.ipsec);
}

void save_vpnlinks(std::FILE *stream, const record_list<vpnlink> &list, std::string_view prefix)
{
    int number = 0;
    for (const auto &link : list)
        save_link(record_writer(stream, numbered_padded(prefix, ++number)), *link);
}
