// The signals of the daemon and its children. An accepting process blocks them except while it
// waits for the lock or for a connection, so a handler never interrupts other work: it may count,
// report and end the process. In a connection child signals are unblocked, and the handlers do only
// what is async-signal-safe: see stat_signal and hup_exit.
#pragma once

// Handler of SIGCHLD: collects all finished children, subtracts each connection among them from
// `proxy_child_count`, and installs itself again.
void waitwaitwait();

// Handler of SIGHUP, SIGINT and, unless it means an orderly stop (stop.h), SIGTERM: reports "caught
// NAME signal" with HUP, INT or TERM, or "caught signal N" (event 10009), calls the proxy's
// callback, and ends the process with status 1. In a connection child the report never waits
// (log_at_any_instant in log.h), and the process ends without its exit handlers.
[[noreturn]] void hup_exit(int number);

// Handler of SIGUSR1: reports "N of LIMIT copies currently active" (event 10002); in a connection
// child without waiting, as hup_exit does.
void stat_signal();

// Sets the function that hup_exit calls with the number of the signal; null for none. It must be
// async-signal-safe, as connection children may call it at any time.
void SetProxyCallBack(void (*callback)(int number));

// For the daemon loop and the lock.

namespace flatlink
{

// Installs the handlers and blocks the signals from now on.
void start_daemon_signals();

// Unblocks the signals for the length of a block, if they are blocked. Keeps errno. The block must
// hold nothing but one waiting system call.
class signals_open
{
  public:
    signals_open();
    ~signals_open();
    signals_open(const signals_open &) = delete;
    signals_open &operator=(const signals_open &) = delete;
};

// Unblocks the signals for good; call in a new connection child when the daemon's part is done.
void give_signals_back();

} // namespace flatlink
