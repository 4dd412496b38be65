#include "lib/fwall/serve/client_limits.h"

#include "lib/fwall/serve/children.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/address.h"
#include "lib/ulib/child_data.h"
#include "lib/ulib/notice.h"

#include <chrono>
#include <sys/socket.h>

using namespace flatlink;

using steady = std::chrono::steady_clock;

WRITTEN_BY_CHILD static steady::time_point second_begun;
WRITTEN_BY_CHILD static int served_in_second = 0;

// INADDR_ANY for a client that has disconnected already.
static in_addr_t address_of_client(int connection)
{
    sockaddr_in peer{};
    socklen_t length = sizeof peer;
    (void)getpeername(connection, reinterpret_cast<sockaddr *>(&peer), &length);
    return peer.sin_addr.s_addr;
}

static bool is_within_address_limit(int connection, in_addr_t &client_be)
{
    if (proxy_address_limit <= 0)
        return true;
    client_be = address_of_client(connection);
    if (client_be == INADDR_ANY || clients_from(client_be) < proxy_address_limit)
        return true;
    notice(EVENT_CHILD_LIMIT, 0, "deny use of proxy: too many connections from %s (limit %d)",
           format_address(client_be).c_str(), proxy_address_limit);
    return false;
}

// Also counts the client if it may pass.
static bool is_within_rate_limit()
{
    if (proxy_rate_limit <= 0)
        return true;
    if (const auto now = steady::now(); now - second_begun >= std::chrono::seconds(1)) {
        second_begun = now;
        served_in_second = 0;
    }
    if (served_in_second < proxy_rate_limit) {
        ++served_in_second;
        return true;
    }
    notice(EVENT_CHILD_LIMIT, 0, "deny use of proxy: too many connections a second (limit %d)",
           proxy_rate_limit);
    return false;
}

bool flatlink::is_within_client_limits(int connection, in_addr_t &client_be)
{
    client_be = INADDR_ANY;
    return is_within_address_limit(connection, client_be) && is_within_rate_limit();
}
