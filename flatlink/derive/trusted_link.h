// Where a link is made: both sides are expanded to single networks, and each pair of them is fed
// to the line parser field by field, as if it stood in a flat file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

struct frag;

// Number of the last link made in this run.
extern std::int32_t linkno;

// Puts all counts back to the start of a run.
void start_links();

// Longest working text of a link: names, keys and addresses. A longer one is cut, and a cut key is
// what is looked up.
inline constexpr std::size_t LINK_TEXT_SIZE = 128;

// Peers are links inside of peers to this depth, and in all this often in a run. Each level doubles
// the links at least, so that a chain without an end would never come to one.
inline constexpr std::int32_t MAX_PEER_NESTING = 12;
inline constexpr long MAX_NESTED_PEERS = 200'000;

// Links of one run: their numbers have 16 bits. Two lists of patterns, one on each side of a rule,
// multiply to any number.
inline constexpr std::int32_t MAX_LINKS = 65'535;

// What stays fixed while the members of a side are walked.
struct trust_context {
    frag *vpnobj; // the object that the links belong to
    frag *fixed;  // the other side
};

// Makes the links of `vpnobj` between a remote and a local side. Returns 1 when they are refused:
// a null argument, a remote side of a useless type, a remote peer without a gateway or inside of
// itself; else 0, also when the sides were lists whose members were walked.
int vpn_add_trusted_link(frag **db, frag *vpnobj, frag *remote, frag *local);

// Object callbacks: `obj` becomes the remote side, or the local side. Return 0.
int vpn_enum_add_trust(frag **db, frag *obj, const char *type, const trust_context &context);
int vpn_enum_add_trust_dst(frag **db, frag *obj, const char *type, const trust_context &context);

// An address text in its two parts, "address:mask" or "first-last"; the second is empty for a
// single address and for a name, whatever marks it holds.
struct address_parts {
    std::string first;
    std::string second;
};
address_parts split_address(const std::string &text);
