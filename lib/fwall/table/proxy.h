// The process-wide settings of a proxy and of its connection. Start-up fills them from the command
// line and the table; the checks and the daemon loop read them. Texts are always NUL-terminated.
#pragma once

#include "lib/fwall/table/cfgrec.h"

#include <cstdint>
#include <netinet/in.h>

inline constexpr int PROXY_TIMEOUT_S = 7200;
inline constexpr char PROXY_TMPDIRECTORY[] = "/tmp";

extern char proxy_name[1024];      // the program's, or the operand of -as
extern char proxy_directory[1024]; // for the proxy's own use: no library code changes directory
extern char proxy_tmpdirectory[1024];
extern std::int32_t proxy_rungid;  // -1 not set; for the proxy's own use: no library code changes
                                   // identity
extern std::int32_t proxy_runuid;  // -1 not set
extern std::int32_t proxy_timeout; // seconds
extern char proxy_hostname[65];
extern std::int32_t proxy_child_count;  // connections that this process serves now
extern std::int32_t proxy_child_limit;  // limit of proxy_child_count; 0 or less: none
extern std::int32_t proxy_accept_count; // accepting processes

namespace flatlink
{

extern std::int32_t proxy_address_limit; // connections from one address; 0 or less: no limit
extern std::int32_t proxy_rate_limit;    // connections a second; 0 or less: no limit
extern std::int32_t proxy_stop_timeout;  // seconds that connections have after SIGTERM; 0 or less:
                                         // it ends the daemon at once

} // namespace flatlink
extern sockaddr_in proxy_bind; // address to listen on; the daemon sets family and port
extern char policy_name[64];   // scratch: "policy-NAME" of the last policy read
extern const char *gPortName;  // operand of -daemon or -port, not owned; null without

// The proxy's entries, owned; and the same list after the records of the matched line's options.
extern cfgrec *proxy_confp;
extern cfgrec *policy_confp;

// The client, for one connection: set by the source check.
extern char proxy_riaddr[512]; // its address, dotted
extern char proxy_rladdr[512]; // the name to show for it
extern cfgrec *permit_confp;   // the `hosts` entry that fits it, not owned; null without
