#include "lib/ulib/host_length.h"

#include "lib/ulib/events.h"
#include "lib/ulib/report.h"

bool h_lengthCorrect(int length, const char *hostname)
{
    constexpr int IPV4_LENGTH = 4;
    if (length == IPV4_LENGTH)
        return true;
    UNIQUE_DATA_T uniq = UNIQUE_DATA;
    uniq.event = EVENT_ADDRESS_LENGTH;
    SendLog(servContext, connContext, uniq, REPORT_NOTICE,
            "securityalert: invalid host address length (%d) hostname %.128s", length,
            hostname == nullptr ? "" : hostname);
    return false;
}
