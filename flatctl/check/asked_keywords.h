// Which entries of a table no proxy asks for: their keywords are neither the runtime's nor one of a
// proxy that they are for, or another entry counts in their place.
#pragma once

#include "flatctl/access/proxy_options.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

struct cfgrec;

// An entry without effect.
struct idle_entry {
    const char *code;
    std::string keyword;
    int by = 0; // line of the entry that counts in its place; 0 for none
};

namespace flatlink
{

// Whether the lines of a name are the runtime's, which reads them to know where to report.
bool is_of_runtime(std::string_view name);

} // namespace flatlink

class asked_keywords
{
  public:
    //   options  by proxy; null for none
    explicit asked_keywords(const std::map<std::string, proxy_options> *options) : options_(options)
    {
    }

    // The entries of a proxy or a policy, and which policies the `hosts` lines of a proxy name.
    void take_list(const std::string &name, const cfgrec *list);
    void take_policy(const std::string &proxy, const std::string &policy);

    // What is known of a keyword, as the proxy has it, or one of those that name the policy; null
    // for nothing. Of a policy once its proxies were taken.
    const own_keyword *find_own(const std::string &name, const std::string &keyword) const;

    // By line. Lines that are for every name are in many lists.
    std::map<int, idle_entry> idle_entries() const;

  private:
    struct entry {
        std::string owner; // a proxy or a policy
        int line;
        std::string keyword;
    };
    using name_set = std::set<std::string>;

    const name_set *proxies_naming(const std::string &policy) const;
    bool is_asked_by(const std::string &proxy, const std::string &keyword) const;
    bool is_asked(const entry &one) const;
    int line_before(const entry &one) const;
    const own_keyword *own_of_proxy(const std::string &proxy, const std::string &keyword) const;

    const std::map<std::string, proxy_options> *options_;
    std::vector<entry> entries_;
    std::map<std::string, name_set> proxies_of_;                        // by policy
    std::map<std::pair<std::string, std::string>, int> lines_of_proxy_; // the first, by keyword
};
