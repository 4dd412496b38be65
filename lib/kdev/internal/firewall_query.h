// The questions to the firewall device that the calls of this library are made of; not for
// others. All return -1 with errno on failure, and none leaves the device open.
#pragma once

#include "lib/kdev/platform/firewall_records.h"
#include "lib/kdev/platform/handle.h"
#include "lib/ulib/address.h"
#include "lib/ulib/bytes.h"

#include <cstdint>
#include <netinet/in.h>
#include <sys/socket.h>

// getpeername or getsockname.
using name_call = int (*)(int sock, sockaddr *addr, socklen_t *lenp);

namespace flatlink
{

// Makes the call and stores its whole address and length; nothing on failure. An address that is
// longer than an Internet one is cut, and its length shows that. Returns 0.
int fw_plain_name(name_call call, int sock, sockaddr_in *addr, socklen_t *lenp);

// The same into a record's field.
int fw_plain_end(name_call call, int sock, fw_address *end);

// Protocol number for a record: FW_TCP for a stream socket, else FW_UDP.
int fw_protocol(int sock);

// Opens the device. `access` is O_RDONLY or O_RDWR.
platform_handle fw_open_device(int access);

// Makes a request that is about no connection. Returns 0.
int fw_request(const platform_handle &device, unsigned long request, byte_area record);

// True for an address of the loopback network, which belongs to this host alone.
bool fw_is_loopback(u32 addr_be);

// What the driver says of an address: 0 when it is not the firewall's own.
std::int32_t fw_query_local(const platform_handle &device, u32 addr_be);

} // namespace flatlink

// Asks for the true ends of `req`, whose ends the caller has filled; sets its protocol. Returns 0,
// or FW_NOT_REDIRECTED when the driver does not know the connection; `req` keeps its ends then.
// A device that is missing gives -1, though its errno is ENOENT too.
inline constexpr int FW_NOT_REDIRECTED = 1;
int fw_query_names(int sock, fw_name_req *req);

// Fills `req` with the true ends of a connection, or the ordinary ones when it is not redirected,
// and `localout`: 0 when the near end is a foreign address, -1 when that could not be found out,
// else it is the firewall's own. Returns 0.
int fw_query_session(int sock, fw_name_req *req, std::int32_t *localout);
