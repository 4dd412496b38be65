#include "lib/fwall/table/proxy.h"

#include "lib/ulib/child_data.h"

using namespace flatlink;

char proxy_name[1024];
char proxy_directory[1024];
char proxy_tmpdirectory[1024];
std::int32_t proxy_rungid = -1;
std::int32_t proxy_runuid = -1;
std::int32_t proxy_timeout = PROXY_TIMEOUT_S;
char proxy_hostname[65];
WRITTEN_BY_CHILD std::int32_t proxy_child_count = 0;
std::int32_t proxy_child_limit = 0;
std::int32_t proxy_accept_count = 1;
std::int32_t flatlink::proxy_address_limit = 0;
std::int32_t flatlink::proxy_rate_limit = 0;
std::int32_t flatlink::proxy_stop_timeout = 0;
sockaddr_in proxy_bind;
WRITTEN_BY_CHILD char policy_name[64];
const char *gPortName = nullptr;

cfgrec *proxy_confp = nullptr;
WRITTEN_BY_CHILD cfgrec *policy_confp = nullptr;

WRITTEN_BY_CHILD char proxy_riaddr[512];
WRITTEN_BY_CHILD char proxy_rladdr[512];
WRITTEN_BY_CHILD cfgrec *permit_confp = nullptr;
