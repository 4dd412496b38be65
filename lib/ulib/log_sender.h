// Sends records and lines to logs that other processes read. A reader that is stuck never blocks
// the sender for long; what it missed is counted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <sys/socket.h>

// Longest time, in milliseconds, that one record waits for room in the reader's queue.
inline constexpr int LOG_WAIT_MS = 50;

namespace flatlink
{

// Sets that time for this process. A process that others depend on, such as one that accepts
// connections, sets 0: its records go out at once or are lost.
void set_log_wait_ms(int wait_ms);

// Sends one datagram, or part of a stream. While the reader's queue is full (EAGAIN) it waits its
// turn, and while the host has no buffer (ENOBUFS) it retries every 100 microseconds, until the
// wait is over. A signal does not end the wait.
//   fd        a blocking socket; its SO_SNDTIMEO changes
//   address   the destination; null for the peer of a connected socket
// Returns the number of bytes sent, or -1 with errno.
ssize_t send_to_log(int fd, const void *bytes, std::size_t length, const sockaddr *address,
                    socklen_t address_length);

// The same without any wait. Async-signal-safe.
ssize_t send_to_log_at_once(int fd, const void *bytes, std::size_t length, const sockaddr *address,
                            socklen_t address_length);

// True for an errno that means that the reader exists but does not read.
bool is_log_full(int error);

} // namespace flatlink

// What this process, and those that share its counts, could not send and have not reported yet.
enum lost_kind { LOST_RECORDS, LOST_LINES, LOST_KINDS };

namespace flatlink
{

// Shares the counts between this process and all that it forks from now on, so that the others
// report the losses of one that has ended. Without memory each process keeps its own.
void share_lost_counts();

// Async-signal-safe.
void count_lost(lost_kind kind, std::uint32_t count = 1);

bool has_lost(lost_kind kind);

// Returns the count and resets it to 0. The caller reports it, or counts it again.
std::uint32_t take_lost(lost_kind kind);

} // namespace flatlink
