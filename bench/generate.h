// Generated data of any size: settings trees for the import, databases for the conversion. The
// same arguments give the same bytes.
#pragma once

#include <cstddef>
#include <string>

enum class notation { FLAT, SHUFFLED, SECTIONS, TAGS };

// One settings tree of about `leaves` values: half of them below one wide list of hosts, half in
// groups of twenty rules. All notations hold the same values; SHUFFLED has FLAT's lines in
// another order.
std::string make_settings(std::size_t leaves, notation form);

struct database_shape {
    std::size_t sites = 0;       // peers, each with its gateway, network and one rule
    std::size_t objects = 0;     // addresses that no rule names
    std::size_t group_width = 0; // members of one group, which an additional rule names
    std::size_t pools = 0;       // address pools with ranges, networks and servers
};

// A database of the current layout in flat notation. A site makes three links on average.
std::string make_database(const database_shape &shape);

// A database of the numbered layout in flat notation, of about `leaves` values: proxies and custom
// proxies with their parameters, policies, interfaces with aliases, groups, packet filter rules.
std::string make_numbered_database(std::size_t leaves);
