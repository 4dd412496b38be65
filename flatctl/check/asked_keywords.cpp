#include "flatctl/check/asked_keywords.h"

#include "flatctl/check/table_entries.h"
#include "lib/fwall/table/cfgrec.h"

#include <algorithm>

using namespace flatlink;

bool flatlink::is_of_runtime(std::string_view name)
{
    return name == "init-proxy" || name == "default_logging";
}

static bool is_policy(std::string_view name)
{
    return name.starts_with("policy-");
}

void asked_keywords::take_list(const std::string &name, const cfgrec *list)
{
    if (name == "*")
        return; // its lines are in the lists of all proxies
    for (const cfgrec *at = list; at != nullptr; at = at->next) {
        entries_.push_back({name, at->lineno, at->keyword});
        if (!is_policy(name))
            lines_of_proxy_.try_emplace({name, at->keyword}, at->lineno);
    }
}

void asked_keywords::take_policy(const std::string &proxy, const std::string &policy)
{
    proxies_of_[policy].insert(proxy);
}

const asked_keywords::name_set *asked_keywords::proxies_naming(const std::string &policy) const
{
    const auto named = proxies_of_.find(policy);
    return named == proxies_of_.end() ? nullptr : &named->second;
}

const own_keyword *asked_keywords::own_of_proxy(const std::string &proxy,
                                                const std::string &keyword) const
{
    if (options_ == nullptr)
        return nullptr;
    const auto known = options_->find(proxy);
    if (known == options_->end())
        return nullptr;
    const auto found = known->second.keywords.find(keyword);
    return found == known->second.keywords.end() ? nullptr : &found->second;
}

const own_keyword *asked_keywords::find_own(const std::string &name,
                                            const std::string &keyword) const
{
    if (!is_policy(name))
        return own_of_proxy(name, keyword);
    if (const name_set *proxies = proxies_naming(name); proxies != nullptr)
        for (const std::string &proxy : *proxies)
            if (const own_keyword *own = own_of_proxy(proxy, keyword); own != nullptr)
                return own;
    return nullptr;
}

// ---- keywords that no proxy asks for

// Of a proxy whose options are not known: whether it hardly means a keyword of its own.
static bool is_misspelt(const std::string &keyword)
{
    return find_meant_keyword(keyword) != nullptr || is_no_keyword(keyword);
}

bool asked_keywords::is_asked_by(const std::string &proxy, const std::string &keyword) const
{
    if (is_of_runtime(proxy))
        return keyword == "logging" || keyword == "log-enabled";
    if (options_ == nullptr || !options_->contains(proxy))
        return !is_misspelt(keyword);
    return own_of_proxy(proxy, keyword) != nullptr;
}

// A policy's entries of the keywords of a start are told apart.
bool asked_keywords::is_asked(const entry &one) const
{
    const bool is_of_table = find_table_keyword(one.keyword) != nullptr;
    if (!is_policy(one.owner))
        return (is_of_table && !is_of_runtime(one.owner)) || is_asked_by(one.owner, one.keyword);
    if (is_of_table && one.keyword != "timeout") // which a proxy reads for its clients, if at all
        return true;
    const name_set *proxies = proxies_naming(one.owner);
    if (proxies == nullptr)
        return !is_misspelt(one.keyword);
    return std::ranges::any_of(
        *proxies, [&](const std::string &proxy) { return is_asked_by(proxy, one.keyword); });
}

// ---- entries in whose place another counts

// For a client the entries of its proxy come before those of the policy. Returns the line of the
// one that counts when each proxy that names the policy has one; otherwise 0.
int asked_keywords::line_before(const entry &one) const
{
    const name_set *proxies = is_policy(one.owner) ? proxies_naming(one.owner) : nullptr;
    const table_keyword *row = find_table_keyword(one.keyword);
    const own_keyword *own = find_own(one.owner, one.keyword);
    const bool first_counts = (row != nullptr && row->first_counts && !row->of_start) ||
                              (own != nullptr && own->first_counts);
    if (proxies == nullptr || !first_counts)
        return 0;
    int line = 0;
    for (const std::string &proxy : *proxies) {
        const auto found = lines_of_proxy_.find({proxy, one.keyword});
        if (found == lines_of_proxy_.end())
            return 0;
        line = found->second;
    }
    return line;
}

std::map<int, idle_entry> asked_keywords::idle_entries() const
{
    std::map<int, idle_entry> lines;
    std::set<int> working;
    for (const entry &one : entries_) {
        const int by = line_before(one);
        if (is_asked(one) && (by == 0 || by == one.line)) {
            working.insert(one.line);
            continue;
        }
        const bool is_of_start = is_policy(one.owner) && find_table_keyword(one.keyword) != nullptr;
        lines.emplace(one.line, by != 0 ? idle_entry{"T110", one.keyword, by}
                                        : idle_entry{is_of_start ? "T122" : "T120", one.keyword});
    }
    for (const int line : working)
        lines.erase(line);
    return lines;
}
