// Address patterns: partial dotted addresses with stars.
#pragma once

#include "lib/frag/objects/netobj.h"

#include <string>

// Rewrites a pattern of up to four octets ("10.1.*", "10.1", "*") to "address:mask" in place and
// returns 0. Leaves other texts alone: returns 1 for a plain address or pair of addresses, and -1
// for null and for anything else.
int convert_pat(std::string *text);

// Normalises a single pattern in place and returns 1; *typeout becomes "dns" for a name, whose
// leading stars and points are removed, "ipnet" for a wildcard address, and is unchanged for a
// plain one. A text with blanks is a list: makes a temporary object of type pattern for each word,
// passes each to the callback, and returns 0. Returns 0 for null too.
//   tag      names the temporary objects, which stay in the tree until the next list with this
//            tag; walks with the same tag must not be nested
//   typeout  may be null
int enum_pattern(frag **db, std::string *text, const object_callback &callback, const char *tag,
                 const char **typeout);

namespace flatlink
{

// Frees the temporary groups that later lists have replaced. They are kept until then because a
// walk may be inside one; call between two rules or pools, when no walk is active.
void free_replaced_patterns();

} // namespace flatlink
