// Which entries of a table no proxy asks for: their keywords are neither the runtime's nor one of a
// proxy that they are for.
#pragma once

#include "flatctl/access/proxy_options.h"

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

struct cfgrec;

class asked_keywords
{
  public:
    // The entries of a proxy or a policy, and which policies the `hosts` lines of a proxy name.
    void take_list(const std::string &name, const cfgrec *list);
    void take_policy(const std::string &proxy, const std::string &policy);

    // Calls tell(line, keyword) for each entry that is asked for by none of its proxies, all of
    // which have known options. `options` are by proxy.
    template <typename teller>
    void tell_unasked(const std::map<std::string, proxy_options> &options, teller tell) const
    {
        for (const auto &[line, keyword] : unasked(options))
            tell(line, keyword);
    }

  private:
    struct entry {
        std::string owner; // a proxy or a policy
        int line;
        std::string keyword;
    };
    std::map<int, std::string> unasked(const std::map<std::string, proxy_options> &options) const;
    bool is_asked(const entry &one, const std::map<std::string, proxy_options> &options) const;

    std::vector<entry> entries_; // of keywords that the runtime does not have
    std::map<std::string, std::set<std::string>> proxies_of_; // by policy
};
