#include "flatctl/check/own_entries.h"

#include "flatctl/check/table_patterns.h"
#include "lib/fwall/match/alldi.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <limits>
#include <netinet/in.h>

using namespace flatlink;

static argument_kind kind_of(const own_keyword &keyword, int argument)
{
    const auto index = static_cast<std::size_t>(argument);
    return index < keyword.arguments.size() ? keyword.arguments[index] : keyword.arguments.back();
}

// What is wrong with an argument; the empty text for nothing.
static std::string fault_of(argument_kind kind, const std::string &text)
{
    const bool has_digits = !text.empty() && isalldigits(text.c_str());
    switch (kind) {
    case argument_kind::NUMBER:
    case argument_kind::COUNT:
        if (kind == argument_kind::NUMBER ? !is_whole_number(text) : !has_digits)
            return " is no number";
        return is_in_range(text) ? "" : " is beyond the range of a number";
    case argument_kind::HOST:
        return text.empty() || !is_host_name(text) ? " is no host" : "";
    case argument_kind::PORT: {
        const std::int32_t port = has_digits ? lenient_number(text) : 1;
        return port < 1 || port > std::numeric_limits<in_port_t>::max() ? " is no port" : "";
    }
    default:
        return "";
    }
}

void flatlink::check_own_entry(const cfgrec &entry, const own_keyword &keyword,
                               const entry_fault_taker &take_fault)
{
    constexpr int KEYWORD = -1;
    if (keyword.arguments.empty())
        return;
    if (entry.flags != 0 && (!keyword.takes_prefix || (entry.flags & CFG_ABSORB) != 0))
        take_fault("T121", entry, KEYWORD, entry.keyword);
    const int wanted = static_cast<int>(keyword.arguments.size());
    if (entry.argc == 0)
        take_fault("T104", entry, KEYWORD, "");
    else if (entry.argc < wanted)
        take_fault("T111", entry, entry.argc - 1, "the argument after it is missing");
    for (int i = 0; i < entry.argc; ++i) {
        const std::string text = entry.argv[i];
        if (i >= wanted && !keyword.repeats_last) {
            take_fault("T111", entry, i, text + " is one argument too many");
            break;
        }
        if (const std::string fault = fault_of(kind_of(keyword, i), text); !fault.empty())
            take_fault("T111", entry, i, text + fault);
    }
}

bool flatlink::is_service_name(const cfgrec &entry, const own_keyword &keyword, int argument)
{
    return !keyword.arguments.empty() &&
           (argument < static_cast<int>(keyword.arguments.size()) || keyword.repeats_last) &&
           kind_of(keyword, argument) == argument_kind::PORT && !isalldigits(entry.argv[argument]);
}
