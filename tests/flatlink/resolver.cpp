// Stands in for the host's name service, so that no test asks it.
#include <array>
#include <netdb.h>

#include "tests/flatlink/conversion_test.h"

extern "C" hostent *gethostbyname(const char *name)
{
    static u32 addr_be;
    static std::array<char *, 2> list;
    static hostent answer;
    ++scripted_names::lookups[name];
    const auto found = scripted_names::addresses.find(name);
    if (found == scripted_names::addresses.end())
        return nullptr;
    // "v6" is a host that only has an address of another length.
    addr_be = address_of(found->second);
    list = {reinterpret_cast<char *>(&addr_be), nullptr};
    answer.h_addrtype = AF_INET;
    answer.h_length = found->second == "v6" ? 16 : sizeof addr_be;
    answer.h_addr_list = list.data();
    return &answer;
}
