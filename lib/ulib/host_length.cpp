#include "lib/ulib/host_length.h"

#include "lib/ulib/notice.h"

using namespace flatlink;

bool h_lengthCorrect(int length, const char *hostname)
{
    constexpr int IPV4_LENGTH = 4;
    if (length == IPV4_LENGTH)
        return true;
    notice(EVENT_ADDRESS_LENGTH, 0,
           "securityalert: invalid host address length (%d) hostname %.128s", length,
           hostname == nullptr ? "" : hostname);
    return false;
}
