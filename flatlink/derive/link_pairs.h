// From the two sides of a rule to links: groups on either side are opened, a VPN object and what
// stands against it become pairs of endpoints, and these are expanded to single networks, of which
// each pair is one link.
#pragma once

#include <cstdint>

struct frag;

// Limits of peers inside of peers: their depth, and their number in a run. Each level at least
// doubles the links, so an endless chain would never finish.
inline constexpr std::int32_t MAX_PEER_NESTING = 12;
inline constexpr long MAX_NESTED_PEERS = 200'000;

// Judges one pair of objects: opens groups on either side, source first, and makes the links that
// a VPN object implies. Null on either side: nothing. Returns 0.
int vpn_check_link_pair(frag **db, frag *src, frag *dst);

// For the members of a group on the source and on the destination side; `dst` and `src` are the
// other side. Members of the type emptygroup are skipped. Return 0.
int vpn_enum_link_src(frag **db, frag *obj, const char *type, frag *dst);
int vpn_enum_link_dst(frag **db, frag *obj, const char *type, frag *src);

namespace flatlink
{

// True for a member that stands for an empty group.
bool is_empty_group(const char *type);

} // namespace flatlink

// Makes the links of `vpnobj`, a vpnnetwork or a vpnclient, with `peer`: gateway and network, or
// any address, each against the firewall and against the peer. The gateway is left out when the
// object says include-sgo off. Returns 1 when neither gateway nor network was found, which is
// traced, else 0.
int vpn_add_link(frag **db, frag *vpnobj, frag *peer);

// Makes the links of two VPN objects: the gateway and the network of each become the peers of the
// other. A vpnclient has none to offer. Returns 1 when `second` is a vpnnetwork without a gateway.
int vpn_add_chained_links(frag **db, frag *first, frag *second);

// The fixed part while the members of one side are walked.
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
