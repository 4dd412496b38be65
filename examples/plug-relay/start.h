// The start of a relay, as the one who types its command sees it.
#pragma once

// Answers --help and --version, and a command line that leaves the relay without port and client:
// "usage: ..." on the error stream. Needs no table. Returns the status to end with, or -1 when
// there is something to do.
[[nodiscard]] int answer_at_start(int argc, char **argv);

// proxy_init (lib/fwall/serve/init.h) for a program that is started by hand or script: what is
// reported until the daemon is on its way is shown on the standard error stream as well, and a port
// that can't be listened on now ends the program with status 1 instead of leaving a daemon that
// tries again:
//   "Failed to bind port N, ..."   event 6503
// A client on descriptor 0, as inetd hands it over, is never shown anything.
// Returns 0, with -daemon in the children of connections; or a status to end with.
[[nodiscard]] int start_relay(int *argc, char ***argv);
