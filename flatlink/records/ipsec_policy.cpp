#include "flatlink/records/ipsec_policy.h"

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/policy_line.h"
#include "lib/ulib/text.h"

namespace
{

constexpr policy_frame FRAME = {"ipsecPolicy", 127, 127};

// ipsecprop::allow_flags
enum allow_flag : std::uint16_t {
    NO_AH = 0x01,
    NO_ESP = 0x02,
    NO_IPPCP = 0x04,
    NO_MINUTES = 0x08,
    NO_MB = 0x10,
};

constexpr std::uint8_t ESPNULL = 11; // of ipsecencr_list: ESP without encryption

template <auto member, const auto &table> void store_word(ipsecprop &prop, std::string_view value)
{
    using field = std::remove_reference_t<decltype(prop.*member)>;
    prop.*member = static_cast<field>(parsenametonum(table, value));
}

template <auto member> void store_number(ipsecprop &prop, std::string_view value)
{
    prop.*member = lenient_number(value);
}

template <allow_flag flag> void store_switch(ipsecprop &prop, std::string_view value)
{
    const int others = prop.allow_flags & ~flag;
    prop.allow_flags = static_cast<std::uint16_t>(same_word(value, "Off") ? others | flag : others);
}

constexpr policy_field<ipsecprop> proposal_fields[] = {
    {"pfs", store_word<&ipsecprop::pfs, onoff_list>},
    {"ah_hash", store_word<&ipsecprop::ah_hash, ipsechash_list>},
    {"esp_hash", store_word<&ipsecprop::esp_hash, ipsechash_list>},
    {"esp_encryption", store_word<&ipsecprop::esp_encryption, ipsecencr_list>},
    {"ipcomp_algorithm", store_word<&ipsecprop::ipcomp_algorithm, ipcomp_list>},
    {"lifetime_minutes", store_number<&ipsecprop::lifetime_minutes>},
    {"lifetime_mb", store_number<&ipsecprop::lifetime_mb>},
    {"allow-ah", store_switch<NO_AH>},
    {"allow-esp", store_switch<NO_ESP>},
    {"allow-ippcp", store_switch<NO_IPPCP>},
    {"allow-minutes", store_switch<NO_MINUTES>},
    {"allow-mb", store_switch<NO_MB>},
};

constexpr policy_field<ipsecpol> policy_fields[] = {
    {"name", [](ipsecpol &, std::string_view) {}}, // the name in the key is the policy's
    {"description", [](ipsecpol &pol, std::string_view value) { pol.description = value; }},
    {"group",
     [](ipsecpol &pol, std::string_view value) {
         pol.group = static_cast<std::uint16_t>(parsenametonum(ipsecgroup_list, value));
     }},
};

policy_finder<ipsecpol> finder;

// What the lines switched off goes.
void apply_switches(ipsecprop &prop)
{
    if (prop.allow_flags & NO_AH)
        prop.ah_hash = 0;
    if (prop.allow_flags & NO_ESP)
        prop.esp_hash = prop.esp_encryption = 0;
    if (prop.allow_flags & NO_IPPCP)
        prop.ipcomp_algorithm = 0;
    if (prop.allow_flags & NO_MINUTES)
        prop.lifetime_minutes = 0;
    if (prop.allow_flags & NO_MB)
        prop.lifetime_mb = 0;
    prop.allow_flags = 0;
}

// False when the proposal offers no protocol at all.
bool settle_protocols(ipsecprop &prop)
{
    apply_switches(prop);
    if (prop.esp_encryption == ESPNULL && prop.esp_hash == 0)
        prop.esp_encryption = 0;
    if (prop.esp_encryption != 0)
        return true;
    prop.esp_hash = 0; // there is no ESP for it to belong to
    return prop.ah_hash != 0;
}

void finish_policy(ipsecpol &pol)
{
    finish_proposals(pol.props, settle_protocols);
    pol.by_number.forget();
    bool uses_group = false;
    for (const auto &prop : pol.props) {
        if (pol.group == 0)
            prop->pfs = 0;
        uses_group = uses_group || prop->pfs != 0;
    }
    if (!uses_group)
        pol.group = 0;
    // The count has eight bits: with 256 proposals it is 0, and the policy goes.
    pol.propcount = static_cast<std::uint8_t>(pol.props.size());
}

} // namespace

static int store_line(std::string_view rest, const char *&message)
{
    policy_line line;
    if (!read_policy_line(rest, FRAME, line, message))
        return 1;
    ipsecpol &pol = policy_named(ipsecpolicy, finder, line.name);
    std::string where = "ipsecPolicy_" + std::to_string(pol.seq);
    if (line.is_proposal) {
        if (store_policy_field(proposal_fields, proposal_numbered(pol, line.number), line))
            return 0;
        where += "_prop_" + std::to_string(line.number);
    } else if (store_policy_field(policy_fields, pol, line)) {
        return 0;
    }
    complain_of_policy_field(where, line);
    return 1;
}

int add_partial_ipsecpol(std::string_view rest)
{
    return within_memory(POLICY_NAME_FAILURE,
                         [rest](const char *&message) { return store_line(rest, message); });
}

void finish_ipsecpols()
{
    finder.forget();
    for (const auto &pol : ipsecpolicy)
        finish_policy(*pol);
    std::erase_if(ipsecpolicy, [](const auto &pol) { return pol->propcount == 0; });
    finish_policy_order(ipsecpolicy);
}

void save_ipsecpols(std::FILE *stream, const record_stack<ipsecpol> &list)
{
    int number = 0;
    for (const auto &pol : list) {
        const std::string prefix = numbered("ipsecPolicy", ++number);
        const record_writer out(stream, prefix);
        out.text("name", pol->name);
        out.text("description", pol->description);
        out.text("group", parsenumtoname(ipsecgroup_list, pol->group));
        int prop_number = 0;
        for (const auto &prop : pol->props) {
            const record_writer prop_out(stream, numbered(prefix + "prop", ++prop_number));
            prop_out.text("pfs", parsenumtoname(onoff_list, prop->pfs));
            prop_out.text("ah_hash", parsenumtoname(ipsechash_list, prop->ah_hash));
            prop_out.text("esp_hash", parsenumtoname(ipsechash_list, prop->esp_hash));
            prop_out.text("esp_encryption", parsenumtoname(ipsecencr_list, prop->esp_encryption));
            prop_out.text("ipcomp_algorithm", parsenumtoname(ipcomp_list, prop->ipcomp_algorithm));
            prop_out.number("lifetime_minutes", prop->lifetime_minutes);
            prop_out.number("lifetime_mb", prop->lifetime_mb);
            std::fflush(stream);
        }
    }
}
