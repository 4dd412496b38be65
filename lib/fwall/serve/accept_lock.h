// The lock by which several accepting processes take turns: a write lock on a file without a name,
// whose descriptor they inherit. Without the file the calls do nothing.
#pragma once

// Makes the file /usr/tmp/PORTlock.NUMBER, opens it and removes its name. A file or link that
// stands there is not used. Failures leave the processes without a lock:
//   "syserr: can't create lock file" (event 13500), without a free name; the opening is tried
//   "syserr: can't create lock file NAME: ..." (event 13510)
void lock_init(const char *port);

// Waits until the lock is held; signals are let in meanwhile (daemon_signals.h). Another failure
// than an interruption is reported as "syserr: error handling accept lock: ..." (event 13510), and
// the process goes on without the lock.
void accept_lock();

// Gives the lock back. A failure is reported as "syserr: error handling accept lock" (event 13510).
void accept_unlock();
