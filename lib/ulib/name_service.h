// The narrow table through which the conversion, the access checks and the socket calls ask the
// host's name service, and proxies its list of accounts, so that a program or test can supply the
// answers. Calls block as long as the host's own do, and return null for unknown names; the next
// call overwrites the answer.
#pragma once

#include <grp.h>
#include <netdb.h>
#include <pwd.h>

struct name_service_calls {
    hostent *(*host_by_name)(const char *name);
    hostent *(*host_by_address)(const void *addr, socklen_t size_bytes, int family);
    servent *(*service_by_name)(const char *name, const char *protocol);
    passwd *(*user_by_name)(const char *name) = getpwnam;
    group *(*group_by_name)(const char *name) = getgrnam;
};

namespace flatlink
{

// The host's own calls.
extern const name_service_calls HOST_NAME_SERVICE;

// The table in use, initially HOST_NAME_SERVICE. Borrowed: another one must outlive its use.
extern const name_service_calls *name_service;

} // namespace flatlink
