// From a VPN object and what stands on the other side of its rule to pairs of endpoints.
#pragma once

struct frag;

// The firewall itself as a local endpoint, and any address as a remote one: objects of the tree,
// made on first need and kept for the rest of the run. Null until then.
extern frag *vpn_flocal;
extern frag *vpn_fremote;

// Makes the links of `vpnobj`, a vpnnetwork or a vpnclient, with `peer`: gateway and network, or
// any address, each against the firewall and against the peer. The gateway is left out when the
// object says include-sgo off. Returns 1 when neither gateway nor network was found, which is
// traced, else 0.
int vpn_add_link(frag **db, frag *vpnobj, frag *peer);

// Makes the links of two VPN objects: the gateway and the network of each become the peers of the
// other. A vpnclient has none to offer. Returns 1 when `second` is a vpnnetwork without a gateway.
int vpn_add_chained_links(frag **db, frag *first, frag *second);

// The gateway object of a vpnnetwork, null for any other object and, traced, when it is missing.
// *flagout becomes 1 if the gateway counts as an endpoint, else 0. Makes the pseudo objects.
frag *find_sgo_ip(frag **db, frag *obj, int *flagout);

// The display name of the object at `key`, `key` itself if there is none, "" for null. Text in
// the tree or the argument.
const char *name_of_object(frag **db, const char *key);

// The address text of a VPN object's gateway, "" if a step on the way fails. Text in the tree.
const char *name_of_sgo_object(frag **db, frag *obj);
