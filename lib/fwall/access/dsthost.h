// Where a destination is: the address of a name, and the destination of a connection.
#pragma once

// The first address of a host as dotted text; `host` itself when it is nothing but digits, `.` and
// `*`, which asks no name service, or when nobody knows it; "invalid" behind the report of
// h_lengthCorrect. A static text where it is not `host`, overwritten by the next call.
const char *maphostname(const char *host);

// The true destination that a client asked for, as dotted text in a static buffer that the next
// call overwrites; also given to `connContext`. Null when it is the firewall itself or can't be
// had, and nothing is changed then.
//   port  receives the port, in the host's order, which `connContext` gets then too; may be null
const char *getdsthost(int fd, int *port);
