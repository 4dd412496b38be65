// The VPN data of one run: plain records in lists, filled line by line, finished once and then
// printed. The number or name in its lines identifies a record.
//
// An empty text field means absent, unless stated otherwise. Addresses and masks are in network
// byte order, NOT_AN_ADDRESS for a text that is none.
#pragma once

#include "flatlink/records/record_list.h"
#include "lib/ulib/address.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>

// How the peer proves who it is. Certificate names: s is the subject, i the issuer.
struct peerauth {
    std::int32_t key = 0;
    std::int32_t maxdepth = 0;
    std::int32_t san_type = 0; // san_list; 0: the alternative name is not checked
    std::string secret;
    std::string scn, sou, so, sc, sst, sl, ssa;
    std::string san_content;
    std::string icn, iou, io, ic, ist, il, isa;
};

// linkinfo::xgwflags
inline constexpr std::uint8_t XGW_ENFORCED = 1;
inline constexpr std::uint8_t XGW_USED = 2; // the local network is the whole address space

// modecfg_mode of links
inline constexpr std::int32_t MODECFG_ANY = -1;
inline constexpr std::int32_t MODECFG_NONE = 0;
inline constexpr std::int32_t MODECFG_NAMED = 1;

// One VPN relationship, one group of vlink lines.
struct linkinfo {
    u32 gateway_addr = 0; // NOT_AN_ADDRESS: a host name not resolved yet; 0: no fixed remote end
    std::uint8_t legacy = 0;
    std::uint8_t fixed_remote = 1;
    std::uint8_t xgwflags = 0;
    std::uint8_t logging = 0;       // debug_list
    std::uint16_t auth = 0;         // auth_list
    std::uint8_t lnetwork_type = 0; // addrid_list
    u32 lnetwork_start = 0;
    u32 lnetwork_delimiter = NOT_AN_ADDRESS; // mask of a subnet, last address of a range
    std::uint8_t rnetwork_type = 0;
    u32 rnetwork_start = 0;
    u32 rnetwork_delimiter = NOT_AN_ADDRESS;
    std::int32_t modecfg_mode = MODECFG_NONE;
    std::uint16_t df_bit = 0; // dfbit_list
    std::uint16_t linkno = 0; // identity while lines are read; 1, 2, ... after sorting
    u32 nesting_level = 0;
    std::int32_t rulenumber = 0; // bit 30 set: a proxy rule
    std::string rulelabel;
    std::string lname; // a link without one is dropped
    std::string description;
    std::string gateway;
    std::string lnetwork_start_address;
    std::string rnetwork_start_address;
    std::string modecfg;
    std::string ikepolicy;
    std::string ipsecpolicy;
    peerauth peer;
};

// Phase one and phase two of an older link.
struct ikeparams {
    std::int32_t auth = 0, encr = 0, hash = 0, group = 0;
    std::int32_t ltimeImax = 0, ltimeImin = 0, ldataImax = 0, ldataImin = 0, errIlim = 0;
    std::int32_t qmcnt = 0;
};

struct ipsecparams {
    std::int32_t ealgo = 0, aalgo = 0;
    std::int32_t ipcomp = 0; // 1 when the line said Off
    std::int32_t debug = 0, pfs = 0;
    std::int32_t ltimeIImax = 0, ltimeIImin = 0, ldataIImax = 0, ldataIImin = 0, errIIlim = 0;
};

// vpnlink::type, ::mode and ::index
inline constexpr std::int32_t LINK_PASS = -1;
inline constexpr std::int32_t LINK_PRIVATE = 0;
inline constexpr std::int32_t LINK_TRUSTED = 1;
inline constexpr std::int32_t MODE_UNSET = -1;
inline constexpr std::int32_t MODE_SWIPE = -2;
inline constexpr std::int32_t PAIR_INDEX = 4096; // first index of pair lines
inline constexpr std::int32_t PASS_INDEX = 8192; // first index of pass lines

// One link of the older flat form.
struct vpnlink {
    std::int32_t type = LINK_PRIVATE;
    std::int32_t mode = MODE_UNSET; // mode_list
    std::int32_t logid = 0;
    u32 ispi = 0, ospi = 0;
    std::int32_t modecfg_mode = MODECFG_NONE;
    std::int32_t minto = 0, maxto = 0;
    std::int32_t index = 0;
    std::string lname; // a link without one is dropped
    std::string laddress, raddress, gateway, ikey, okey;
    std::string modecfg;
    ikeparams ike;
    peerauth peer;
    ipsecparams ipsec;
    std::string rname; // second half of a pair's name, until it is merged into lname
};

struct ikeprop {
    std::uint16_t encryption = 0, hash = 0, group = 0;
    std::uint16_t number = 0; // identity while lines are read
    std::uint16_t key_count = 0;
    u32 lifetime = 0;
};

struct ikepol {
    u32 propcount = 0;
    std::int32_t seq = 0; // order of first appearance, from 1; 0 when finished
    std::string name;
    std::string description;
    record_stack<ikeprop> props; // the newest first until finished
    record_index<ikeprop, &ikeprop::number, record_stack<ikeprop>> by_number;
};

struct ipsecprop {
    std::uint8_t esp_encryption = 0, ipcomp_algorithm = 0;
    std::uint8_t number = 0;
    std::uint16_t ah_hash = 0, esp_hash = 0, pfs = 0;
    std::uint16_t allow_flags = 0; // a set bit: the line said Off
    std::int32_t lifetime_minutes = 0, lifetime_mb = 0;
};

struct ipsecpol {
    std::uint8_t propcount = 0;
    std::uint16_t group = 0; // ipsecgroup_list
    std::uint16_t seq = 0;
    std::string name;
    std::string description;
    record_stack<ipsecprop> props; // the newest first until finished
    record_index<ipsecprop, &ipsecprop::number, record_stack<ipsecprop>> by_number;
};

struct mcpool_range {
    u32 addr = 0, addr2 = 0;
};

// All ones until its line comes, so that half an entry differs from a whole one.
struct mcpool_net {
    u32 addr = NOT_AN_ADDRESS, mask = NOT_AN_ADDRESS;
};

// One address pool. Entries are kept by the number of their lines, which may be anything up to
// 2^31-1: gaps take no memory. Finishing renumbers them from 0.
struct mcpool {
    u32 mask = 0;
    std::int32_t expiry = 0, stale_limit = 0;
    std::int32_t seq = 0; // order of first appearance; when finished, the number in the file
    std::map<std::int32_t, u32> dns, nbns;
    std::map<std::int32_t, mcpool_net> net;
    std::map<std::int32_t, mcpool_range> addr;
    std::string ifname;
    std::string name;
    std::string description;
};

struct swkey {
    std::string key; // a record without it is dropped
    std::string id;
    std::int32_t type = 0; // id_list
    std::int32_t kidnum = 0;
    std::int32_t index = 0;
};

struct vpn_intf {
    std::int32_t listno = 0, elemno = 0;
    std::int32_t location = 0; // location_list; 0: unknown
    std::string interface;
    std::optional<std::string> name; // an empty name is one, too
    u32 addr = 0, netmask = 0, broadcast = 0;
    u32 network = 0; // addr AND netmask, when finished
};

extern record_list<linkinfo> linkinfos;
extern record_list<vpnlink> links;
extern record_stack<ikepol> ikepolicy;
extern record_stack<ipsecpol> ipsecpolicy;
extern record_list<mcpool> mcpools;
extern record_list<swkey> swkeys;
extern record_list<vpn_intf> intf_list;

inline constexpr std::size_t ANONSECRET_LENGTH = 127;

// Settings and host names that are printed.
extern std::string anonsecret; // of anonymous peers, at most ANONSECRET_LENGTH characters
extern std::string clientIKEpolicy;
extern std::int32_t klevelHardAccel, ulevelHardAccel, aggressiveMode; // onoff_list
extern std::string ip_hostname, ip_domainname, ip_myhostname;

// Settings that are only read.
extern std::int32_t cryptoThreadCount; // 2 to 9
extern std::int32_t autosortold;       // a line showed the older pair layout
extern std::int32_t swipelinks;        // a link has the mode swipe
extern std::string my_def_interface;   // the default router's address
extern u32 my_def_route;               // the address of the interface on its subnet

// The lists of interfaces named Outside, Inside and Service: the list's number, -1 while no line
// named it, and address, mask and interface of its first element.
extern std::int32_t outside_id, inside_id, thirdside_id;
extern u32 outside_addr, inside_addr, thirdside_addr;
extern u32 outside_mask, inside_mask, thirdside_mask;
extern std::string outside_face, inside_face, thirdside_face;

namespace flatlink
{

// Empties all lists and puts every setting back to its value at start.
void reset_records();

} // namespace flatlink

// Free a record that is in no list; null is allowed.
inline void free_vpnlp(linkinfo *record)
{
    delete record;
}

inline void free_vpnlink(vpnlink *record)
{
    delete record;
}
