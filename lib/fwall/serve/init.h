// Start-up of a proxy: its name, its settings and policies, its log, and the daemon if the command
// line asks for one.
//
//   PROXY [-version | -as NAME | -runas NAME] [-daemon PORT | -port PORT | -service ANY]... REST
//
// -version prints the name and the release, and needs neither table nor log. -as takes NAME for
// the proxy's name, or appends it if it begins with '-'. The first argument that is none of these
// ends the options.
#pragma once

// The first call of every proxy. What it has consumed is gone from the count and the vector: the
// last operand stands in entry 0, REST behind it.
// Returns 0; with a port, only in the children of the daemon, one for each connection. Ends the
// process with status 0 behind -version, and with status 1, after a report, when the command line
// or the table does not do.
int proxy_init(int *argc, char ***argv);

// The same, but a port is only kept in `gPortName` and no daemon is started.
int proxy_init_no_daemon(int *argc, char ***argv);

// Loads settings and policies again if /usr/local/etc/netperm-table has a later time than at the
// last load, wherever the table is read from. A failure is reported (event 11502) and tried again
// by the next call; an entry with a fault ends the process. Does nothing before proxy_init.
void proxy_check_reload();
