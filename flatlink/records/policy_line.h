// The frame of policy lines, which both kinds of policies share:
//   NAME_FIELD=value              a field of the policy
//   NAME_prop_NUMBER_FIELD=value  a field of one of its proposals
// NAME ends at the first underscore.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "flatlink/records/records.h"

struct policy_line {
    std::string_view name; // the policy's
    std::string_view field;
    std::string_view value;
    int number = 0; // the proposal's
    bool is_proposal = false;
};

inline constexpr std::size_t POLICY_FIELD_SIZE = 64; // longest field of a policy; more is cut

// Takes a line without its prefix apart. The parts live as long as `rest`.
//   family    the prefix without its underscore, for the message
//   longest   the longest field of a proposal; more is cut
// Returns false for a line that is of no use; only one that cannot be read is reported.
bool read_policy_line(std::string_view rest, std::string_view family, std::size_t longest,
                      policy_line &line);

// Reports a field that nobody knows; `where` is what stands before it in the line.
void complain_of_policy_field(const std::string &where, const policy_line &line);

// One field of a policy or a proposal, and what its line does.
template <typename record> struct policy_field {
    std::string_view key;
    void (*store)(record &, std::string_view value);
};

// Stores the line's field by its row; false when there is none.
template <typename record, std::size_t rows>
bool store_policy_field(const policy_field<record> (&fields)[rows], record &target,
                        const policy_line &line)
{
    for (const auto &field : fields) {
        if (field.key == line.field) {
            field.store(target, line.value);
            return true;
        }
    }
    return false;
}

// The policy of that name, made if there is none, with the next number in order of appearance.
template <typename policy, typename index_type>
policy &policy_named(record_list<policy> &list, index_type &index, std::string_view name)
{
    if (policy *found = index.find(list, std::string(name)))
        return *found;
    auto made = std::make_unique<policy>();
    using seq_type = decltype(made->seq);
    made->seq = static_cast<seq_type>(list.empty() ? 1 : list.back()->seq + 1);
    made->name = name;
    list.push_back(std::move(made));
    return *list.back();
}

// The proposal of that number, made if there is none. A number that does not fit its field is
// never found again, so that each of its lines makes a proposal.
template <typename policy> auto &proposal_numbered(policy &pol, int number)
{
    using proposal = typename decltype(pol.props)::value_type::element_type;
    using number_type = decltype(proposal::number);
    const auto held = static_cast<number_type>(number);
    if (held == number)
        if (proposal *found = pol.by_number.find(pol.props, held))
            return *found;
    auto made = std::make_unique<proposal>();
    made->number = held;
    pol.props.push_back(std::move(made));
    return *pol.props.back();
}

// Brings the proposals of a policy into their final order and drops those that `keep` refuses.
// Lines make new proposals at the front, so that of two with one number the later comes first.
template <typename proposal, typename predicate>
void finish_proposals(record_list<proposal> &props, predicate keep)
{
    std::erase_if(props, [&keep](const auto &prop) { return !keep(*prop); });
    std::reverse(props.begin(), props.end());
    std::stable_sort(props.begin(), props.end(),
                     [](const auto &a, const auto &b) { return a->number < b->number; });
    for (const auto &prop : props)
        prop->number = 0;
}

// Brings the policies into the order in which they appeared.
template <typename policy> void finish_policy_order(record_list<policy> &list)
{
    std::reverse(list.begin(), list.end());
    std::stable_sort(list.begin(), list.end(),
                     [](const auto &a, const auto &b) { return a->seq < b->seq; });
    for (const auto &pol : list)
        pol->seq = 0;
}
