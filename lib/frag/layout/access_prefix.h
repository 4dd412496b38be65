// Access prefixes in front of a plain name, as files and parameter names spell them.
#pragma once

#include <string_view>

inline constexpr unsigned ANY_ACCESS = 0x0F; // every prefix, as bits of frag::flags

namespace flatlink
{

// Removes the prefixes of `accepted` from the front of `name`, in any case, order and number,
// and stops at the first text that is none of them. Returns their bits.
unsigned take_access_prefixes(std::string_view &name, unsigned accepted);

} // namespace flatlink
