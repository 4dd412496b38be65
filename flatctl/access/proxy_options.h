// The options that a proxy's `hosts` lines take. They are compiled into each proxy; to check a
// table without its proxy, they stand in a file, share/flatlink/proxies/NAME.options, a line each:
//   -OPTION KIND [EXPANSION...]
//   KEYWORD keyword
// with none, one, list or rest for KIND, as policy_kind names them, and '#' before a comment. The
// second is a keyword of the proxy's own that no option stands for.
#pragma once

#include "lib/fwall/access/policy.h"

#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

struct proxy_options {
    std::list<std::string> texts;        // which the rows point to
    std::vector<policy_option> rows{{}}; // with the row that ends them
    std::set<std::string> keywords;      // of the proxy's own

    bool is_known() const { return rows.size() > 1; }
};

namespace flatlink
{

// Reads a file of options. Returns the empty text, or what is wrong with it, in one line.
std::string read_proxy_options(const std::string &path, proxy_options &options);

// Those that are installed with this program, by the names of their proxies. A file that cannot be
// read counts as none.
std::map<std::string, proxy_options> installed_proxy_options();

} // namespace flatlink
