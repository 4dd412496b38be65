// From an address to a name.
#pragma once

// The host name of a dotted address, in lower case and cut at 256 characters; "unknown" when the
// name service has none; `address` itself when it is no address for inet_aton. A static text,
// overwritten by the next call.
const char *revmap(const char *address);
