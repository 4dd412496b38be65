// The children of an accepting process: in the first one the other accepting processes, and one for
// each connection. The lists change only while signals are blocked, and in handlers, which run one
// at a time (daemon_signals.h).
#pragma once

#include <netinet/in.h>
#include <sys/types.h>

namespace flatlink
{

// Note an accepting process, so that its end does not count as a connection's; and the child that
// serves a connection. `client_be` is the client's address, INADDR_ANY if it is not known.
void add_acceptor(pid_t pid);
void add_client(pid_t child, in_addr_t client_be);

// Empties the lists; call in a new child, whose children they are not.
void clear_children();

// Collects the children that have ended, without waiting, and subtracts all but the accepting
// processes from `proxy_child_count`.
void collect_children();

// The number of connections from an address.
int clients_from(in_addr_t client_be);

// True until all children have been collected.
bool has_children();

// Send a signal to all accepting processes of the list, and to all children of connections.
void signal_acceptors(int number);
void signal_clients(int number);

} // namespace flatlink
