// Whether the client may reach a destination, decided by a list of entries, usually `policy_confp`:
//   afw-dest PATTERN PORT ID              blocks, ahead of all other entries
//   [permit-|deny-]destination ITEM...    patterns of hosts (hnam.h)
//   [permit-|deny-]ports ITEM...          numbers, names of services, `*...` or `any`
//   [permit-|deny-]proxy ITEM...          patterns of proxy names (namatch)
// The first item that matches decides: with permit- or no prefix it allows, with deny- it refuses,
// and a `!` in front of the item inverts that.
//
// A list may be null or the failure marker, which hold no entries.
#pragma once

struct cfgrec;

inline constexpr int DST_ALLOWED = 0;
inline constexpr int DST_REFUSED = 1;
inline constexpr int DST_NO_ADDRESS = 99; // the name service knows no such host

// Checks a destination.
//   host  a name or dotted address; null is the empty host
//   port  0 to 65535
// Returns DST_ALLOWED, DST_REFUSED or DST_NO_ADDRESS: a caller refuses all but the first.
// Without a `destination` entry everything is refused; without a `ports` entry every port is
// allowed. A host that is empty or begins with a digit goes to the numeric form, any other to the
// form for names. An unknown service in an entry ends the process (str_to_port).
[[nodiscard]] int permit_dst_chk(const char *host, int port, cfgrec *list);

// For a host that begins with a digit, usually an address. Stores address and port in
// `connContext`.
[[nodiscard]] int permit_dst_chk_numeric(const char *host, int port, cfgrec *list);

// For a name: each of its addresses must be allowed. Leaves `connContext` alone.
[[nodiscard]] int permit_dst_chk_alpha(const char *host, int port, cfgrec *list);

// Checks the `ports` entries alone.
[[nodiscard]] int permit_port_chk(int port, cfgrec *list);

// Whether `proxy_name` is allowed by the `proxy` entries; without one it is refused.
[[nodiscard]] int permit_proxy_chk(cfgrec *list);

// The two functions below share the look-ups of one check. Both pointers are null at its start; the
// texts are the name service's and last until the next look-up of their kind.
//   mapped   address of the destination (maphostname)
//   reverse  name of the destination (revmap)

// 1 when an `afw-dest` entry blocks the destination, else 0:
//   "AFW: deny destination host HOST, port N, AFW id: ID" (event 1504)
//   "AFW: destination blocking rule is not generated correctly, line N" (event 11502), for an entry
//   of fewer than two arguments, which blocks too
int afwDestBlock(const char *host, int port, cfgrec *list, const char **mapped,
                 const char **reverse);

// 1 when the destination fits the pattern, else 0. A name is looked up for a pattern of addresses
// and an address for a pattern of names, except one that `rev_dns` lists, which does not match.
int destmatch(const char *dest, const char **mapped, const char **reverse, const char *pattern);
