// How records and lines go out to logs that other processes read: never blocked by a reader that
// does not read, and with a count of what was lost to it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/socket.h>

// Longest time in milliseconds for which one record waits for room in the reader's queue.
inline constexpr int LOG_WAIT_MS = 50;

namespace flatlink
{

// Sets that time for this process. A process that others depend on, such as one that accepts
// connections, sets 0: its records go out at once or are lost.
void set_log_wait_ms(int wait_ms);

// Sends one datagram, or part of a stream. While the queue of the reader is full (EAGAIN) it waits
// for its turn, and while the host has no buffer (ENOBUFS) it tries again every 100 microseconds,
// until the time to wait is over. An interrupted wait goes on.
//   fd        a socket that is not set to non-blocking; its SO_SNDTIMEO changes
//   address   where it goes; null for the peer of a connected socket
// Returns the number of bytes sent, or -1 with errno.
ssize_t send_to_log(int fd, const void *bytes, std::size_t length, const sockaddr *address,
                    socklen_t address_length);

// The same without any wait. May be called by a signal handler at any instant.
ssize_t send_to_log_at_once(int fd, const void *bytes, std::size_t length, const sockaddr *address,
                            socklen_t address_length);

// True for an error that says that the reader exists and does not read.
bool is_log_full(int error);

} // namespace flatlink

// What this process, and those that share its counts, could not send and have told no one yet.
enum lost_kind { LOST_RECORDS, LOST_LINES, LOST_KINDS };

namespace flatlink
{

// Makes the counts common to this process and all that it forks from now on, so that a process
// which ends with a loss leaves it to the others to tell. Without memory each keeps its own.
void share_lost_counts();

// May be called by a signal handler at any instant.
void count_lost(lost_kind kind, std::uint32_t count = 1);

bool has_lost(lost_kind kind);

// Returns the count and makes it 0: who takes it tells it, or counts it again.
std::uint32_t take_lost(lost_kind kind);

} // namespace flatlink
