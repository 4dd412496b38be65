// The process-wide settings of a proxy and of its connection. Start-up fills them from the command
// line and the table; the checks and the daemon loop go by them. Texts are always terminated.
#pragma once

#include "lib/fwall/table/cfgrec.h"

#include <cstdint>
#include <netinet/in.h>

inline constexpr int PROXY_TIMEOUT_S = 7200;
inline constexpr char PROXY_TMPDIRECTORY[] = "/tmp";

extern char proxy_name[1024];      // of the program, or what -as made of it
extern char proxy_directory[1024]; // nothing here changes root or directory: for the proxy
extern char proxy_tmpdirectory[1024];
extern std::int32_t proxy_rungid;  // -1 not set; nothing here changes identity
extern std::int32_t proxy_runuid;  // -1 not set
extern std::int32_t proxy_timeout; // seconds
extern char proxy_hostname[65];
extern std::int32_t proxy_child_count;  // connections that this process has running
extern std::int32_t proxy_child_limit;  // for that number; 0 or less: no limit
extern std::int32_t proxy_accept_count; // accepting processes

namespace flatlink
{

extern std::int32_t proxy_address_limit; // connections from one address; 0 or less: no limit
extern std::int32_t proxy_rate_limit;    // connections a second; 0 or less: no limit

} // namespace flatlink
extern sockaddr_in proxy_bind; // address to listen on; the daemon sets family and port
extern char policy_name[64];   // scratch: "policy-NAME" of the last policy read
extern const char *gPortName;  // operand of -daemon or -port, not owned; null without

// Entries of the proxy's name, owned; and the same list behind the options of the matched line.
extern cfgrec *proxy_confp;
extern cfgrec *policy_confp;

// The client, for one connection: set by the source check.
extern char proxy_riaddr[512]; // its address, dotted
extern char proxy_rladdr[512]; // the name to show for it
extern cfgrec *permit_confp;   // the `hosts` entry that fits it, not owned; null without
