// The listener of a proxy that was started with -daemon or -port. The started process writes
// /var/run/proxy.PORT.pid and ends; its child listens, forks the other accepting processes
// (`accept-count`), and each of them forks a child for each connection. One of them at a time waits
// for a connection (accept_lock.h), and they receive signals only while waiting (daemon_signals.h).
// Started by a service manager (service_manager.h), the process stays in the foreground instead,
// writes no pid file, and says when it is ready.
// Reports never make an accepting process wait for the log's reader.
#pragma once

// Becomes a daemon on `port`, a number or the name of a TCP service.
// Returns 0 in the child of a connection, which has the client's socket as descriptors 0, 1 and 2,
// a log of its own, and neither the listening socket nor the parent's log; -1 when the first fork
// failed. A listening socket that a service manager hands over counts instead of `port`. Without a
// service manager the started process ends with status 0 and without its exit handlers, which are
// left to the daemon. The pid file is skipped if it can't be written; links to it are not followed.
//   "cfgerr: cannot decode PORT as port" (event 11502)    also above 65535; status 1
//   "Starting daemon mode on port PORT(N)" (10004)
//   "Failed to create socket, ..." (6501), "Failed to listen, ..." (6504)    end it with status 1
//   "Failed to bind port N, ..." (6503), "sleeping for 2 minutes" (10002)    retried without limit;
//       "Now ready on port N" (6000) when a retry succeeds
//   "Fork failed: ..." (13510)       one accepting process less
// and then for each connection:
//   "Accept failed, ..." (6505)      out of descriptors: the connection is accepted and closed
//   "deny use of proxy: too many active children (limit N)" (1500), what client_limits.h reports,
//   "Fork failed, ..." (13510)       these close the connection
[[nodiscard]] int do_daemon(const char *port);

// Continues in the background: ignores SIGHUP and SIGALRM, ends the started process with status 0,
// and returns in its child, which leads a new session. Reports "daemon running" (event 10004); or
// "Fork failed: ..." (13510), and ends with status 1.
void daemonize();
