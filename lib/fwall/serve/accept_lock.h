// The lock by which accepting processes take turns: a write lock on an unlinked file whose
// descriptor they inherit. Without the file the calls do nothing.
#pragma once

// Creates the file /usr/tmp/PORTlock.NUMBER and unlinks it. An existing file or link is never used.
// Failures leave the processes without a lock:
//   "syserr: can't create lock file" (event 13500), without a free name; creation is still tried
//   "syserr: can't create lock file NAME: ..." (event 13510)
void lock_init(const char *port);

// Waits for the lock; signals are unblocked meanwhile (daemon_signals.h). A failure other than an
// interruption is reported as "syserr: error handling accept lock: ..." (event 13510), and the
// process continues without the lock.
void accept_lock();

// Releases the lock. A failure is reported as "syserr: error handling accept lock" (event 13510).
void accept_unlock();
