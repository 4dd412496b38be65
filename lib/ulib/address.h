// IPv4 addresses as the records hold them: 32 bits in network byte order, the form of the
// socket interface. Text in and out, and the number that a comparison needs.
#pragma once

#include <arpa/inet.h>
#include <cstdint>
#include <string>
#include <string_view>

using u32 = std::uint32_t;

// All ones: text that is no address, and the mask of a single host. (netdb.h has taken NO_ADDRESS.)
inline constexpr u32 NOT_AN_ADDRESS = 0xFFFFFFFF;

namespace flatlink
{

// Reads `text` as an address in network order; NOT_AN_ADDRESS for text that is none. Accepts what
// the host's inet_addr accepts: one to four parts, decimal, octal or hexadecimal.
u32 parse_address(std::string_view text);

// Reads four decimal octets without zeros in front, the form of format_address, as a number with
// the first octet most significant. False for anything else; `number` is then undefined.
bool read_dotted(std::string_view text, u32 &number);

// Whether a text says the address: four decimal octets, which may begin with zeros, and blanks at
// its end. False for other forms that parse_address reads, such as octal octets, or fewer than
// four.
bool says_address(std::string_view text, u32 addr_be);

// Reads `text` as a network number or mask; the result is in network order, NOT_AN_ADDRESS for text
// that is none. Differs from parse_address for fewer than four parts: as the host's inet_network
// does, it right-aligns them.
u32 parse_network(const std::string &text);

// The dotted text of an address in network order.
std::string format_address(u32 addr_be);

// The address as a number with its first octet most significant, and back.
inline u32 host_order(u32 addr_be)
{
    return ntohl(addr_be);
}
inline u32 network_order(u32 number)
{
    return htonl(number);
}

} // namespace flatlink
