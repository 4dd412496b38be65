// An orderly stop of an accepting process: it takes no more connections and lets those that it has
// end. Where neither `stop-timeout` is set nor a service manager has started the process, SIGTERM
// ends it as hup_exit (daemon_signals.h) says instead.
#pragma once

namespace flatlink
{

// Notes the listening socket, which a stop closes.
void prepare_stop(int listener);

// True when SIGTERM means an orderly stop.
bool is_stop_orderly();

// Closes the listening socket, passes SIGTERM to the other accepting processes, and waits for up to
// `stop-timeout` seconds until all children have ended. Those that have not get SIGTERM, and
// SIGKILL if they are still there STOP_GRACE_S seconds later; accepting processes have as long
// again to end theirs. A SIGTERM, SIGINT or SIGHUP on the way ends the first wait. With a
// `stop-timeout` of 0 connections are left alone.
//   "stopping: N connections have SECONDS seconds to end" (event 10002), if there are any
//   "stopping: ending N connections" (10002), when their time is over
// Call with the daemon's signals blocked.
inline constexpr int STOP_GRACE_S = 2;
void stop_orderly();

} // namespace flatlink
