// Port numbers from the texts of the configuration.
#pragma once

// The number of a port: a text of digits gives their value (0 for the empty text), any other the
// port of the host's TCP service of that name. An unknown name or null is reported as
// "cfgerr: cannot decode NAME as port" (event 11502) and ends the process with status 1.
int str_to_port(const char *port);
