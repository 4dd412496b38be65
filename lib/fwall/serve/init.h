// Start-up of a proxy: name, settings, policies and log, and the daemon if the command line asks
// for it.
//
//   PROXY [-version | -as NAME | -runas NAME] [-daemon PORT | -port PORT | -service ANY]... REST
//
// -version prints the name and the release, and needs neither table nor log. -as sets the proxy's
// name to NAME, or appends NAME if it begins with '-'. The first other argument ends the options.
#pragma once

// The first call of every proxy. Removes what it consumes from count and vector: afterwards entry 0
// is the last operand, followed by REST.
// Returns 0; with a port, only in the children of the daemon, one for each connection. Ends the
// process with status 0 after -version, and with status 1 after reporting a fault of the command
// line or the table.
int proxy_init(int *argc, char ***argv);

// The same, but only stores a port in `gPortName` and starts no daemon.
int proxy_init_no_daemon(int *argc, char ***argv);

// Reloads settings and policies if /usr/local/etc/netperm-table has a later modification time than
// at the last load, even if the table is read from another path. A failure is reported (event
// 11502) and retried by the next call; a faulty entry ends the process. Does nothing before
// proxy_init.
void proxy_check_reload();
