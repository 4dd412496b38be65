#include "lib/fwall/match/hnam.h"

#include "lib/fwall/match/host_pattern.h"
#include "lib/fwall/match/nama.h"

#include <cstring>

using namespace flatlink;

int maskmatch(const char *pattern, const char *address)
{
    if (std::strchr(pattern, '*') != nullptr)
        return namatch(pattern, address);
    return compile_octets(pattern).fits_address(read_host_address(address)) ? 1 : 0;
}

int range_hostmatch(const char *pattern, const char *address)
{
    return compile_range(pattern).fits_address(read_host_address(address)) ? 1 : 0;
}

int ip_match(const char *pattern, const char *address)
{
    return std::strchr(pattern, '-') != nullptr ? range_hostmatch(pattern, address)
                                                : maskmatch(pattern, address);
}

int hostmatch(const char *pattern, const char *host)
{
    if (pattern == nullptr || host == nullptr)
        return 0;
    char room[HOST_TEXT_MAX + 1];
    return compile_host_pattern(pattern, room).fits(host_client(host)) ? 1 : 0;
}
