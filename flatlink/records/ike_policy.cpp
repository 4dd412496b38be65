#include "flatlink/records/ike_policy.h"

#include <algorithm>
#include <limits>

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/policy_line.h"
#include "lib/ulib/text.h"

namespace
{

constexpr policy_frame FRAME = {"ikePolicy", 63, 64};

template <auto member, const auto &table> void store_word(ikeprop &prop, std::string_view value)
{
    prop.*member = static_cast<std::uint16_t>(parsenametonum(table, value));
}

void store_lifetime(ikeprop &prop, std::string_view value)
{
    prop.lifetime = static_cast<u32>(lenient_number(value));
}

void store_key_count(ikeprop &prop, std::string_view value)
{
    constexpr std::int32_t HIGHEST = std::numeric_limits<std::uint16_t>::max();
    prop.key_count = static_cast<std::uint16_t>(std::clamp(lenient_number(value), 0, HIGHEST));
}

constexpr policy_field<ikeprop> proposal_fields[] = {
    {"hash", store_word<&ikeprop::hash, ikehash_list>},
    {"encryption", store_word<&ikeprop::encryption, ikeencr_list>},
    {"diffie-helman", store_word<&ikeprop::group, ikegroup_list>},
    {"lifetime", store_lifetime},
    {"key_count", store_key_count},
    {"allow-rekey", [](ikeprop &, std::string_view) {}},
};

constexpr policy_field<ikepol> policy_fields[] = {
    {"name", [](ikepol &, std::string_view) {}}, // the name in the key is the policy's
    {"description", [](ikepol &pol, std::string_view value) { pol.description = value; }},
};

policy_finder<ikepol> finder;

bool is_complete(const ikeprop &prop)
{
    return prop.hash != 0 && prop.encryption != 0 && prop.group != 0;
}

} // namespace

static int store_line(std::string_view rest, const char *&message)
{
    policy_line line;
    if (!read_policy_line(rest, FRAME, line, message))
        return 1;
    ikepol &pol = policy_named(ikepolicy, finder, line.name);
    if (line.is_proposal) {
        if (store_policy_field(proposal_fields, proposal_numbered(pol, line.number), line))
            return 0;
    } else if (store_policy_field(policy_fields, pol, line)) {
        return 0;
    }
    const int number = line.is_proposal ? line.number : pol.seq;
    complain_of_policy_field("ikePolicy_" + std::to_string(number), line);
    return 1;
}

int add_partial_ikepol(std::string_view rest)
{
    return within_memory(POLICY_NAME_FAILURE,
                         [rest](const char *&message) { return store_line(rest, message); });
}

void finish_ikepols()
{
    finder.forget();
    for (const auto &pol : ikepolicy) {
        finish_proposals(pol->props, is_complete);
        pol->by_number.forget();
        pol->propcount = static_cast<u32>(pol->props.size());
    }
    std::erase_if(ikepolicy, [](const auto &pol) { return pol->propcount == 0; });
    finish_policy_order(ikepolicy);
}

void save_ikepols(std::FILE *stream, const record_stack<ikepol> &list)
{
    int number = 0;
    for (const auto &pol : list) {
        const std::string prefix = numbered("ikePolicy", ++number);
        const record_writer out(stream, prefix);
        out.text("name", pol->name);
        out.text("description", pol->description);
        int prop_number = 0;
        for (const auto &prop : pol->props) {
            const record_writer prop_out(stream, numbered(prefix + "prop", ++prop_number));
            prop_out.text("hash", parsenumtoname(ikehash_list, prop->hash));
            prop_out.text("encryption", parsenumtoname(ikeencr_list, prop->encryption));
            prop_out.text("diffie-helman", parsenumtoname(ikegroup_list, prop->group));
            prop_out.number("lifetime", prop->lifetime);
            prop_out.number("key_count", prop->key_count);
        }
    }
}
