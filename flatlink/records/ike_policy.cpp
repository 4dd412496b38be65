#include "flatlink/records/ike_policy.h"

#include "flatlink/records/line.h"
#include "flatlink/records/names.h"
#include "flatlink/records/policy_line.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <limits>

using namespace flatlink;

namespace
{

// Brought into 16 bits.
struct key_count : decimal {
    static void read(std::uint16_t &held, std::string_view value)
    {
        constexpr std::int32_t HIGHEST = std::numeric_limits<std::uint16_t>::max();
        held = static_cast<std::uint16_t>(std::clamp(lenient_number(value), 0, HIGHEST));
        note_unless_number(held, value);
    }
};

constexpr field<ikeprop> fields_of_proposal[] = {
    {"hash", as<word_of<ikehash_list>, &ikeprop::hash>},
    {"encryption", as<word_of<ikeencr_list>, &ikeprop::encryption>},
    {"diffie-helman", as<word_of<ikegroup_list>, &ikeprop::group>},
    {"lifetime", as<bounded_decimal, &ikeprop::lifetime>},
    {"key_count", as<key_count, &ikeprop::key_count>},
    {"allow-rekey", ignored<ikeprop>},
};

constexpr field<ikepol> fields_of_policy[] = {
    {"name", identity<&ikepol::name>},
    {"description", as<as_text, &ikepol::description>},
};

policy_family<ikepol, ikeprop> kind{{.family = "ikePolicy",
                                     .longest_proposal = 63,
                                     .longest_policy = 64,
                                     .names_policy_of_proposal = false},
                                    ikepolicy,
                                    fields_of_policy,
                                    fields_of_proposal,
                                    {}};

bool is_complete(const ikeprop &prop)
{
    return prop.hash != 0 && prop.encryption != 0 && prop.group != 0;
}

} // namespace

constinit const field_table<ikepol> flatlink::ikepol_fields = fields_of_policy;
constinit const field_table<ikeprop> flatlink::ikeprop_fields = fields_of_proposal;

int add_partial_ikepol(std::string_view rest)
{
    return add_policy_line(kind, rest);
}

void finish_ikepols()
{
    kind.finder.invalidate();
    for (const auto &pol : ikepolicy) {
        finish_proposals(pol->props, is_complete);
        pol->by_number.invalidate();
        pol->propcount = static_cast<u32>(pol->props.size());
    }
    finish_policy_list(ikepolicy);
}

void save_ikepols(std::FILE *stream, const record_stack<ikepol> &list)
{
    save_policies(stream, list, kind);
}
