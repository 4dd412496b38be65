#include "flatctl/check/asked_keywords.h"

#include "flatctl/check/table_entries.h"
#include "lib/fwall/table/cfgrec.h"

#include <algorithm>

using namespace flatlink;

// Names of lines that the runtime reads for itself.
static bool is_of_runtime(std::string_view name)
{
    return name == "init-proxy" || name == "default_logging";
}

void asked_keywords::take_list(const std::string &name, const cfgrec *list)
{
    if (name == "*")
        return; // its lines are in the lists of all proxies
    for (const cfgrec *at = list; at != nullptr; at = at->next)
        if (find_table_keyword(at->keyword) == nullptr)
            entries_.push_back({name, at->lineno, at->keyword});
}

void asked_keywords::take_policy(const std::string &proxy, const std::string &policy)
{
    proxies_of_[policy].insert(proxy);
}

bool asked_keywords::is_asked(const entry &one,
                              const std::map<std::string, proxy_options> &options) const
{
    const auto is_asked_by = [&](const std::string &proxy) {
        if (is_of_runtime(proxy))
            return false;
        const auto known = options.find(proxy);
        return known == options.end() || known->second.keywords.contains(one.keyword);
    };
    if (!one.owner.starts_with("policy-"))
        return is_asked_by(one.owner);
    const auto named = proxies_of_.find(one.owner);
    return named == proxies_of_.end() || std::ranges::any_of(named->second, is_asked_by);
}

// A line for every name is in the lists of many proxies.
std::map<int, std::string>
asked_keywords::unasked(const std::map<std::string, proxy_options> &options) const
{
    std::map<int, std::string> lines;
    for (const entry &one : entries_)
        lines.emplace(one.line, one.keyword);
    for (const entry &one : entries_)
        if (is_asked(one, options))
            lines.erase(one.line);
    return lines;
}
