// The options that a proxy's `hosts` lines take. They are compiled into each proxy; to check a
// table without its proxy, they stand in a file, share/flatlink/proxies/NAME.options, a line each:
//   -OPTION KIND [EXPANSION...]
//   KEYWORD keyword [prefix] [first] [ARGUMENT...]
// with none, one, list or rest for KIND, as policy_kind names them, and '#' before a comment. The
// second is a keyword that the proxy asks for, and what its entries are like: `prefix` when permit-
// and deny- mean something, `first` when no entry after the first counts, then a word for each
// argument: text, number, count (a number without sign), host or port; `...` at the end of the last
// one lets it repeat. Without such words nothing is known of the arguments.
#pragma once

#include "lib/fwall/access/policy.h"

#include <cstdint>
#include <list>
#include <map>
#include <string>
#include <vector>

enum class argument_kind : std::uint8_t { TEXT, NUMBER, COUNT, HOST, PORT };

// A keyword of a proxy's own.
struct own_keyword {
    bool takes_prefix = false;
    bool first_counts = false;
    bool repeats_last = false;
    std::vector<argument_kind> arguments = {}; // empty: nothing is known of them
};

struct proxy_options {
    std::list<std::string> texts;        // which the rows point to
    std::vector<policy_option> rows{{}}; // with the row that ends them
    std::map<std::string, own_keyword> keywords;

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
