// Access prefixes of plain names, as files and parameter names spell them.
#pragma once

#include <string_view>

inline constexpr unsigned ANY_ACCESS = 0x0F; // every prefix, as bits of frag::flags

namespace flatlink
{

// Removes the prefixes in `accepted` from the front of `name`, in any case, order and number, and
// stops at the first other text. Returns their bits.
unsigned take_access_prefixes(std::string_view &name, unsigned accepted);

} // namespace flatlink
