// Names that canonicalisation and the way back to the numbered layout share.
#pragma once

#include <array>

// The fields of a packet filter rule, in the order in which a packed rule joins them by '+'.
inline constexpr std::array<const char *, 10> pfkeynames = {
    "type",    "interface", "proto",   "srcport", "srcaddr",
    "srcmask", "dstport",   "dstaddr", "dstmask", "comment",
};

// One side of the firewall: its keys below `ip` in the numbered layout, and the interface list
// that holds the same in the canonical one. The shortened spellings are those of the files.
struct ip_var_row {
    const char *address;
    const char *mask;
    const char *broadcast;
    const char *interface;
    const char *interface_flags;
    const char *list_key;
    const char *no_address; // what stands for an absent address
};

inline constexpr const char *NO_ADDRESS_TEXT = "none";
inline constexpr const char *UNSET_ADDRESS = "XXX.XXX.XXX.XXX";

inline constexpr ip_var_row ip_var_tab[] = {
    {"insideaddr", "insidemask", "insidbcast", "insidiface", "insidifaceflags",
     "netobj_list_Inside_element", NO_ADDRESS_TEXT},
    {"outsideaddr", "outsidemask", "outsidbcast", "outsidiface", "outsidifaceflags",
     "netobj_list_Outside_element", UNSET_ADDRESS},
    {"thirdaddr", "thirdmask", "thirdbcast", "thirdiface", "thirdifaceflags",
     "netobj_list_Service_element", NO_ADDRESS_TEXT},
};
