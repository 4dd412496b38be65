#include "lib/fwall/match/port.h"

#include "lib/fwall/match/alldi.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <arpa/inet.h>
#include <cstdlib>

using namespace flatlink;

int str_to_port(const char *port)
{
    if (isalldigits(port))
        return lenient_number(port);
    const servent *found = port == nullptr ? nullptr : name_service->service_by_name(port, "tcp");
    if (found != nullptr)
        return ntohs(static_cast<std::uint16_t>(found->s_port));
    notice(EVENT_BAD_ENTRY, 0, "cfgerr: cannot decode %s as port", port == nullptr ? "" : port);
    std::exit(1);
}
