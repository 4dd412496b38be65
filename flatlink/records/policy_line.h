// The frame of policy lines, which both kinds of policies share:
//   NAME_FIELD=value              a field of the policy
//   NAME_prop_NUMBER_FIELD=value  a field of one of its proposals
// NAME ends at the first underscore.
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/record_watch.h"
#include "flatlink/records/records.h"

#include <algorithm>
#include <string>
#include <string_view>

namespace flatlink
{

struct policy_line {
    std::string name; // the policy's
    std::string_view field;
    std::string_view value;
    int number = 0; // the proposal's
    bool is_proposal = false;
};

// What differs between the lines of the two kinds of policies.
struct policy_frame {
    std::string_view family;       // the prefix without its underscore, for messages
    std::size_t longest_proposal;  // longest field of a proposal; more is cut
    std::size_t longest_policy;    // the same of a policy
    bool names_policy_of_proposal; // in the message about an unknown field of a proposal
};

// Takes a line without its prefix apart. The views live as long as `rest`. `message` is what a
// failed allocation would print, and another once the name is taken. Returns false for a line that
// is of no use; only one that cannot be read is reported.
bool read_policy_line(std::string_view rest, const policy_frame &frame, policy_line &line,
                      const char *&message);

// Reports an unknown field; `seq` is the policy's.
void complain_of_policy_field(const policy_frame &frame, int seq, const policy_line &line);

// The policies of one kind by their names.
template <typename policy> struct policy_finder {
    record_index<policy, &policy::name, record_stack<policy>> names;
    decltype(policy::seq) highest_seq = 0; // 0: all policies are finished

    // For a finishing step, which removes policies and clears the numbers of the others.
    void invalidate()
    {
        names.invalidate();
        highest_seq = 0;
    }
};

// The policy of that name; a new one gets the next number in order of appearance. After an overflow
// to 0 the highest number does not rise, so all later policies get 0 too.
template <typename policy>
policy &policy_named(record_stack<policy> &list, policy_finder<policy> &finder,
                     const std::string &name)
{
    if (policy *found = finder.names.find(list, name))
        return *found;
    if (list.empty())
        finder.highest_seq = 0;
    auto made = std::make_unique<policy>();
    made->seq = static_cast<decltype(made->seq)>(finder.highest_seq + 1);
    made->name = name;
    list.push_front(std::move(made));
    finder.highest_seq = std::max(finder.highest_seq, list.front()->seq);
    return *list.front();
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
    pol.props.push_front(std::move(made));
    return *pol.props.front();
}

// One kind of policies: its frame, its list, and the fields of policy and proposal in the order of
// their lines.
template <typename policy, typename proposal> struct policy_family {
    policy_frame frame;
    record_stack<policy> &list;
    field_table<policy> fields;
    field_table<proposal> proposal_fields;
    policy_finder<policy> finder;
};

// Takes one line without its prefix. Returns 0 when it was used, 1 when not.
template <typename policy, typename proposal>
int add_policy_line(policy_family<policy, proposal> &kind, std::string_view rest)
{
    return within_memory(POLICY_NAME_FAILURE, [&kind, rest](const char *&message) {
        policy_line line;
        if (!read_policy_line(rest, kind.frame, line, message))
            return 1;
        policy &pol = policy_named(kind.list, kind.finder, line.name);
        const bool is_known =
            line.is_proposal
                ? store_field<proposal>(kind.proposal_fields, proposal_numbered(pol, line.number),
                                        line.field, line.value, message)
                : store_field<policy>(kind.fields, pol, line.field, line.value, message);
        if (!is_known)
            complain_of_policy_field(kind.frame, pol.seq, line);
        return is_known ? 0 : 1;
    });
}

// Writes policies and proposals, each numbered from 1 in list order.
template <typename policy, typename proposal>
void save_policies(std::FILE *stream, const record_stack<policy> &list,
                   const policy_family<policy, proposal> &kind)
{
    int number = 0;
    for (const auto &pol : list) {
        const std::string prefix = numbered(kind.frame.family, ++number);
        print_fields<policy>(record_writer(stream, prefix), kind.fields, *pol);
        int prop_number = 0;
        for (const auto &prop : pol->props)
            print_fields<proposal>(record_writer(stream, numbered(prefix + "prop", ++prop_number)),
                                   kind.proposal_fields, *prop);
    }
}

// Sorts the proposals of a policy by number and drops those that `keep` refuses. Of two with the
// same number the newer comes first. Finished ones have no number: a second call keeps their order
// and puts them before newer ones.
template <typename proposal, typename predicate>
void finish_proposals(record_stack<proposal> &props, predicate keep)
{
    std::erase_if(props, [&keep](const auto &prop) {
        const bool is_useless = !keep(*prop);
        if (is_useless)
            note_dropped(left_out::NO_WORDS, prop.get());
        return is_useless;
    });
    props.sort([](const auto &a, const auto &b) { return a->number < b->number; });
    for (const auto &prop : props)
        prop->number = 0;
}

// Drops the policies without proposals and brings the others into the order in which they appeared;
// finished ones keep theirs.
template <typename policy> void finish_policy_list(record_stack<policy> &list)
{
    std::erase_if(list, [](const auto &pol) {
        if (pol->propcount == 0)
            note_dropped(left_out::NO_PROPOSALS, pol.get());
        return pol->propcount == 0;
    });
    list.sort([](const auto &a, const auto &b) { return a->seq < b->seq; });
    for (const auto &pol : list)
        pol->seq = 0;
}

} // namespace flatlink
