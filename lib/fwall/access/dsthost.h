// The address of a destination: of a host name, and of a client's connection.
#pragma once

namespace flatlink
{

// True for a destination that counts as an address: it consists of digits, `.` and `*`.
bool holds_address(const char *text);

} // namespace flatlink

// The first address of a host as dotted text; `host` itself when it counts as an address (no
// look-up) or is unknown; "invalid" after h_lengthCorrect has reported a wrong address length.
// A result other than `host` is a static text, overwritten by the next call.
const char *maphostname(const char *host);

// The true destination that a client asked for, as dotted text in a static buffer that the next
// call overwrites; also stored in `connContext`. Null when it is the firewall itself or is not
// available; then nothing is changed.
//   port  receives the port, in the host's order, which is then stored in `connContext` too; may be
//         null
const char *getdsthost(int fd, int *port);
