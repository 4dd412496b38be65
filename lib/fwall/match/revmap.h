// Reverse look-up of addresses.
#pragma once

// The host name of a dotted address, in lower case and cut at 256 characters; "unknown" for null or
// when the name service has none; `address` itself when it is no address for inet_aton. A name is a
// static text, overwritten by the next call.
const char *revmap(const char *address);
