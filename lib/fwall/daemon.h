// The listener of a proxy that was started with -daemon or -port.
#pragma once

// Reports that there is no daemon mode and ends the process with status 1.
//   port  name or number of the port that was asked for
int do_daemon(const char *port);
