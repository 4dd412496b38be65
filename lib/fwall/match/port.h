// Ports as the configuration names them.
#pragma once

// The number of a port: that of the digits if `port` is nothing else (so 0 for the empty text),
// else that of the host's TCP service of this name. An unknown name, and null, is reported as
// "cfgerr: cannot decode NAME as port" (event 11502) and ends the process with status 1.
int str_to_port(const char *port);
