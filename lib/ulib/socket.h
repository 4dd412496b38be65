// A thin layer over stream sockets: addresses from host names, listening in a range of ports,
// connecting, and waiting with an idle limit. Failures are reported through pmsg with the given
// event; "with errno" means that the host's text for errno is appended.
//
// Families are the host's: 1 (AF_UNIX) and 2 (AF_INET). An address that a caller passes has room
// for saddrlen() of its family: 110 or 16 bytes. Ports are in network byte order in every argument
// and result; a range of them counts in host order. Descriptors are close-on-exec, belong to the
// caller when returned, and are closed on every error path.
#pragma once

#include <sys/select.h>
#include <sys/socket.h>

// Clears the bit of `fd` in both sets, which may be null, and closes it.
void clear_close_fd(int fd, fd_set *set1, fd_set *set2);

// Writes the host's name and a NUL terminator to `name`, a buffer of 256 bytes. Returns 0, or -1
// when it has no address: " Can't lookup up my own hostname: NAME", event 13510.
int get_local_hostname(char *name);

inline constexpr int SELECT_IDLE = -99;

// Waits for input with select().
//   nfds, readset  as for select; `readset` is changed
//   spare          not used
//   seconds        longest wait; below 1 it is 3
//   idlelimit      seconds without input after which the caller should end; below 1: none. Counted
//                  from the last call that found input; or from one that timed out, if it had no
//                  limit or was the first
// Returns the number of ready descriptors, 0 for a wait that timed out, SELECT_IDLE after
// "idle timed out duration=N seconds" (event 6005), or the negative of errno, reported as "select"
// with errno (event 6506) unless it is EINTR.
int serv_select(int nfds, fd_set *readset, void *spare, int seconds, int idlelimit);

// Fills an address.
//   host    name or dotted address; null for any address. With AF_UNIX a host is of no use: its
//           four address bytes become the path
//   saddr   its first 16 bytes are cleared and filled; null only checks the other arguments
// Returns 0, or -1 after "hostname unknown: HOST" (event 6509), "hostname unparsable" for a host
// that consists of points (11502), the report of h_lengthCorrect, or
// "The family(N) not supported yet :-(" (11502).
int saddr_init(const char *host, int family, int port, sockaddr *saddr);

// A new socket of the host's `type` (SOCK_STREAM), and its address as saddr_init fills it.
// `spare` is not used. Returns the descriptor, or -1: "socket init" with errno (event 13510), or
// a report of saddr_init.
int sock_init(const char *host, int family, int port, int type, sockaddr *saddr, int spare);

// Bytes of an address of `family`: 110 or 16; 0 for another family and for a null address.
socklen_t saddrlen(int family, const sockaddr *saddr);

// Binds `fd` to `saddr`. While that is in use, tries the ports after `low` (AF_INET only) and
// stores them in `saddr`.
//   low    the port in `saddr`
//   high   the last port to try; below `low` it is `low`
// Returns the port bound, `low` itself for AF_UNIX. -1 after "All ports are in use" (event 11504),
// after "bindport" with errno (6503), and without a report for a path in use if `high` is above
// `low`. `fd` stays open.
int bindport(int fd, int family, int low, int high, sockaddr *saddr);

// A socket that listens on `host`, with a backlog of 16. SO_REUSEADDR is switched off, so a port
// whose last connections still linger is in use.
//   saddr     receives the address; null: one shared by all such calls. For AF_UNIX the caller
//             fills its bytes from 16 on as a part of the name
//   portio    not null: the first port to try; receives the port bound, -1 for AF_UNIX
//   highport  the last port to try; null: the first alone
// Returns the descriptor; -1 for a failure of sock_init, -2 after "SO_REUSEADDR" with errno (event
// 6500), -3 for a failure of bindport, -4 after "serv_listen" with errno (6504).
int serv_listen(const char *host, int family, sockaddr *saddr, int *portio, const int *highport);

// A socket connected to `host`. `saddr` receives the address and may be null.
// Returns the descriptor; -1 for a failure of sock_init, -2 after "cli_conn" with errno (6502).
int cli_conn(const char *host, int family, int port, sockaddr *saddr);

// A socket connected to an address of family AF_INET. Returns the descriptor, or -1 after "socket"
// (event 6500) or "connect:" (6502), with errno.
int conn_sd(const sockaddr *saddr);
