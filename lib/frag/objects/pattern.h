// Address patterns: partial dotted addresses with stars.
#pragma once

#include "lib/frag/objects/netobj.h"

#include <string>

// Rewrites a pattern of up to four octets ("10.1.*", "10.1", "*") to "address:mask" in place.
// Returns 0 when it did, 1 for a plain address or pair of addresses, which stays, and -1 for null
// and for what is no address pattern, which stays too.
int convert_pat(std::string *text);

// One pattern is normalised in place: 1 is returned, and *typeout becomes "dns" for a name, whose
// leading stars and points go, "ipnet" for a wildcard address, and stays for a plain one.
// A text with blanks is a list: for each word a temporary object of type pattern is made, and the
// callback is given all of them; 0 is returned. 0 also for null.
//   tag      names the temporary objects, which stay in the tree until the next list with this
//            tag; walks with one tag must not be nested
//   typeout  may be null
int enum_pattern(frag **db, std::string *text, const object_callback &callback, const char *tag,
                 const char **typeout);

namespace flatlink
{

// Frees the temporary groups that later lists have replaced. Until then they stay in memory, as
// a walk may be inside of one: call this where none is, between two rules or pools.
void free_replaced_patterns();

} // namespace flatlink
