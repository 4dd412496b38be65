// The service manager that has started the process, known by its environment: a listening socket
// that it hands over (LISTEN_PID, LISTEN_FDS: sd_listen_fds(3)), and a socket on which it waits for
// notices of our state (NOTIFY_SOCKET: sd_notify(3)). The first call of any of these reads the
// variables and unsets them, so that no program started later takes them for its own.
#pragma once

namespace flatlink
{

// True when a service manager has handed over a socket or waits for notices. A daemon stays in the
// foreground then.
bool has_service_manager();

// The socket that was handed over, blocking and closed on exec; -1 for none. Anything but one
// listening TCP socket over IPv4 ends the process with status 1 after a report (event 6501): to
// listen elsewhere instead could open a door that the operator has not asked for.
int handed_listener();

// Sends a notice, lines such as "READY=1", if a service manager waits for them. One that does not
// read it within NOTICE_WAIT_S goes without.
inline constexpr int NOTICE_WAIT_S = 5;
void tell_service_manager(const char *lines);

// Sends no notices from now on; call in a process that is not the service's main one.
void leave_service_manager();

} // namespace flatlink
