// Makes links: a pair of single networks is fed to the line parser field by field, as if it came
// from a flat file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct frag;

// Longest working text of a link: names, keys and addresses. A longer one is cut; keys are looked
// up after the cut.
inline constexpr std::size_t LINK_TEXT_SIZE = 128;

// Limit of links in one run, since their numbers have 16 bits. Needed because two lists of
// patterns, one on each side of a rule, multiply.
inline constexpr std::int32_t MAX_LINKS = 65'535;

// An address text in its two parts, "address:mask" or "first-last"; the second is empty for a
// single address and for a name, whatever marks it holds.
struct address_parts {
    std::string first;
    std::string second;
};

namespace flatlink
{

address_parts split_address(const std::string &text);

} // namespace flatlink

// One side of a link, expanded to a single network.
struct link_side {
    std::string text;
    const char *type;
};

namespace flatlink
{

// Makes one link of `vpnobj`, whose name is `name`, with the state of the rule being walked. Beyond
// MAX_LINKS, or without steps left, it is left out, which is noted as a bound.
void make_link(frag **db, frag *vpnobj, const std::string &name, const link_side &remote,
               const link_side &local);

} // namespace flatlink
