#include "lib/fwall/access/dsthost.h"

#include "lib/fwall/log/context_calls.h"
#include "lib/kdev/firewall_names.h"
#include "lib/ulib/address.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/host_length.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/report.h"

#include <cstring>

using namespace flatlink;

bool flatlink::holds_address(const char *text)
{
    return text[std::strspn(text, ".*0123456789")] == '\0';
}

const char *maphostname(const char *host)
{
    static char address[INET_ADDRSTRLEN];
    if (holds_address(host))
        return host;
    const hostent *found = name_service->host_by_name(host);
    if (found == nullptr || found->h_addr_list[0] == nullptr)
        return host;
    if (!h_lengthCorrect(found->h_length, host))
        return "invalid";
    return inet_ntop(AF_INET, found->h_addr_list[0], address, sizeof address);
}

const char *getdsthost(int fd, int *port)
{
    static char address[INET_ADDRSTRLEN];
    sockaddr_in dst{};
    socklen_t length = sizeof dst;
    if (vfw_getdstname(fd, &dst, &length) != 0)
        return nullptr;
    if (port != nullptr) {
        *port = ntohs(dst.sin_port);
        SetDstPort(connContext, *port);
    }
    set_text(address, format_address(dst.sin_addr.s_addr));
    SetDstIPAddress(connContext, address);
    return address;
}
