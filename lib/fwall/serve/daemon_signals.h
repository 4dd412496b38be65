// The signals of the daemon and its children. An accepting process holds them back at all times
// but while it waits for the lock or for a connection, so a handler there never meets half-done
// work: it may count, report and end the process. A connection child has its signals at any
// instant, and there the handlers do only what is safe at any instant: see stat_signal, hup_exit.
#pragma once

#include <sys/types.h>

// Handler of SIGCHLD: collects all finished children, subtracts each connection among them from
// `proxy_child_count`, and installs itself again.
void waitwaitwait();

// Handler of SIGHUP, SIGINT and SIGTERM: reports "caught NAME signal" with HUP, INT or TERM, or
// "caught signal N" (event 10009), calls the proxy's callback, and ends the process with status 1.
// In a connection child the report does not wait for room (log.h, log_at_any_instant), and the
// process ends without its exit handlers.
[[noreturn]] void hup_exit(int number);

// Handler of SIGUSR1: reports "N of LIMIT copies currently active" (event 10002); in a connection
// child as hup_exit does.
void stat_signal();

// Sets what hup_exit calls with the number of the signal; null for nothing. In connection children
// it may be called at any instant, and must do no more than a handler may.
void SetProxyCallBack(void (*callback)(int number));

// For the daemon loop and the lock.

namespace flatlink
{

// Installs the handlers and holds the signals back from now on.
void start_daemon_signals();

} // namespace flatlink

// Lets the signals in for the length of a block, where they are held back. Keeps errno. Nothing
// but one waiting system call belongs into the block.
class signal_window
{
  public:
    signal_window();
    ~signal_window();
    signal_window(const signal_window &) = delete;
    signal_window &operator=(const signal_window &) = delete;
};

namespace flatlink
{

// Remembers a child that is an accepting process, so that its end is not taken for a connection's.
void add_acceptor(pid_t pid);

// In a new accepting process: the acceptors that were added are not its children.
void forget_acceptors();

// In a new connection child, whose work is done here: gives it its signals.
void give_signals_back();

} // namespace flatlink
