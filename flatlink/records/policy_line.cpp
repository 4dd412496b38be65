#include "flatlink/records/policy_line.h"

#include "flatlink/records/line.h"
#include "flatlink/records/memory_guard.h"
#include "lib/ulib/text.h"

using namespace flatlink;

namespace
{

// What the rest of a key turned out to be.
enum class key_kind { POLICY, PROPOSAL, UNREADABLE };

constexpr std::string_view WHITE_SPACE = " \t\n\v\f\r";

void skip_white_space(std::string_view &text)
{
    text.remove_prefix(std::min(text.find_first_not_of(WHITE_SPACE), text.size()));
}

} // namespace

// Reads "_prop_NUMBER_FIELD". A key that leaves this form before the number is a policy's; one
// that ends too early, or leaves it after the number, is neither.
static key_kind read_proposal_key(std::string_view key, std::size_t longest, policy_line &line)
{
    constexpr std::string_view MARK = "_prop_";
    if (MARK.starts_with(key))
        return key_kind::UNREADABLE;
    if (!take_prefix(key, MARK))
        return key_kind::POLICY;
    skip_white_space(key);
    if (key.empty())
        return key_kind::UNREADABLE;
    const std::size_t before = key.size();
    line.number = static_cast<int>(take_number(key));
    if (key.size() == before)
        return key_kind::POLICY;
    if (!take_prefix(key, "_"))
        return key_kind::UNREADABLE;
    skip_white_space(key);
    if (key.empty())
        return key_kind::UNREADABLE;
    line.field = key.substr(0, std::min(key.find_first_of(WHITE_SPACE), longest));
    return key_kind::PROPOSAL;
}

bool flatlink::read_policy_line(std::string_view rest, const policy_frame &frame, policy_line &line,
                                const char *&message)
{
    const line_parts parts = split_line(rest);
    if (!parts.has_equals || parts.value.empty())
        return false;
    const std::size_t name_end = std::min(parts.key.find('_'), parts.key.size());
    const std::string_view after_name = parts.key.substr(name_end);
    line.name = parts.key.substr(0, name_end);
    message = MALLOC_FAILURE;
    line.value = parts.value;
    const key_kind kind = read_proposal_key(after_name, frame.longest_proposal, line);
    if (kind == key_kind::UNREADABLE) {
        complain("vpndata:Unrecognized field: " + std::string(frame.family) + "_" +
                 std::string(parts.key) + "=" + std::string(parts.value));
        return false;
    }
    line.is_proposal = kind == key_kind::PROPOSAL;
    if (!line.is_proposal)
        line.field = after_name.substr(1, frame.longest_policy);
    return true;
}

void flatlink::complain_of_policy_field(const policy_frame &frame, int seq, const policy_line &line)
{
    std::string where(frame.family);
    if (!line.is_proposal || frame.names_policy_of_proposal)
        where += "_" + std::to_string(seq);
    if (line.is_proposal)
        where += (frame.names_policy_of_proposal ? "_prop_" : "_") + std::to_string(line.number);
    complain("vpndata:Unrecognized field: " + where + "_" + std::string(line.field) + "=" +
             std::string(line.value));
}
