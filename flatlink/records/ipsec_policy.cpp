#include "flatlink/records/ipsec_policy.h"

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/policy_line.h"
#include "lib/ulib/text.h"

using namespace flatlink;

namespace
{

// ipsecprop::allow_flags
enum allow_flag : std::uint16_t {
    NO_AH = 0x01,
    NO_ESP = 0x02,
    NO_IPPCP = 0x04,
    NO_MINUTES = 0x08,
    NO_MB = 0x10,
};

constexpr std::uint8_t ESPNULL = 11; // of ipsecencr_list: ESP without encryption

template <allow_flag flag> void store_switch(ipsecprop &prop, std::string_view value)
{
    note_unless_word(value, "On", "Off");
    const int others = prop.allow_flags & ~flag;
    prop.allow_flags = static_cast<std::uint16_t>(same_word(value, "Off") ? others | flag : others);
}

template <allow_flag flag> constexpr form<ipsecprop> allow{store_switch<flag>};

constexpr field<ipsecprop> fields_of_proposal[] = {
    {"pfs", as<word_of<onoff_list>, &ipsecprop::pfs>},
    {"ah_hash", as<word_of<ipsechash_list>, &ipsecprop::ah_hash>},
    {"esp_hash", as<word_of<ipsechash_list>, &ipsecprop::esp_hash>},
    {"esp_encryption", as<word_of<ipsecencr_list>, &ipsecprop::esp_encryption>},
    {"ipcomp_algorithm", as<word_of<ipcomp_list>, &ipsecprop::ipcomp_algorithm>},
    {"lifetime_minutes", as<bounded_decimal, &ipsecprop::lifetime_minutes>},
    {"lifetime_mb", as<bounded_decimal, &ipsecprop::lifetime_mb>},
    {"allow-ah", allow<NO_AH>},
    {"allow-esp", allow<NO_ESP>},
    {"allow-ippcp", allow<NO_IPPCP>},
    {"allow-minutes", allow<NO_MINUTES>},
    {"allow-mb", allow<NO_MB>},
};

constexpr field<ipsecpol> fields_of_policy[] = {
    {"name", identity<&ipsecpol::name>},
    {"description", as<as_text, &ipsecpol::description>},
    {"group", as<word_of<ipsecgroup_list>, &ipsecpol::group>},
};

policy_family<ipsecpol, ipsecprop> kind{{.family = "ipsecPolicy",
                                         .longest_proposal = 127,
                                         .longest_policy = 127,
                                         .names_policy_of_proposal = true},
                                        ipsecpolicy,
                                        fields_of_policy,
                                        fields_of_proposal,
                                        {}};

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
    pol.by_number.invalidate();
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

constinit const field_table<ipsecpol> flatlink::ipsecpol_fields = fields_of_policy;
constinit const field_table<ipsecprop> flatlink::ipsecprop_fields = fields_of_proposal;

int add_partial_ipsecpol(std::string_view rest)
{
    return add_policy_line(kind, rest);
}

void finish_ipsecpols()
{
    kind.finder.invalidate();
    for (const auto &pol : ipsecpolicy)
        finish_policy(*pol);
    finish_policy_list(ipsecpolicy);
}

void save_ipsecpols(std::FILE *stream, const record_stack<ipsecpol> &list)
{
    save_policies(stream, list, kind);
    std::fflush(stream);
}
