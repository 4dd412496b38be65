#include "lib/ulib/log_sender.h"

#include "lib/ulib/child_data.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <new>
#include <sys/mman.h>
#include <sys/time.h>
#include <unistd.h>

using namespace flatlink;

using steady = std::chrono::steady_clock;
using lost_count = std::atomic<std::uint32_t>;
static_assert(lost_count::is_always_lock_free, "handlers and other processes use it");

namespace
{

struct lost_counts {
    lost_count of[LOST_KINDS];
};

} // namespace

WRITTEN_BY_CHILD static int log_wait_ms = LOG_WAIT_MS;
static lost_counts own_counts;
static std::atomic<lost_counts *> lost = &own_counts;

void flatlink::set_log_wait_ms(int wait_ms)
{
    log_wait_ms = wait_ms;
}

bool flatlink::is_log_full(int error)
{
    return error == EAGAIN || error == EWOULDBLOCK || error == ENOBUFS;
}

ssize_t flatlink::send_to_log_at_once(int fd, const void *bytes, std::size_t length,
                                      const sockaddr *address, socklen_t address_length)
{
    return sendto(fd, bytes, length, MSG_DONTWAIT | MSG_NOSIGNAL, address, address_length);
}

// Blocks in the kernel, which serves waiting senders in turn. An interrupted wait, or one that the
// kernel refuses, fails with EAGAIN too.
static ssize_t send_within(std::chrono::microseconds left, int fd, const void *bytes,
                           std::size_t length, const sockaddr *address, socklen_t address_length)
{
    const timeval limit{.tv_sec = 0, .tv_usec = std::max<suseconds_t>(left.count(), 1)};
    if (setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit) != 0)
        return -1;
    const ssize_t sent = sendto(fd, bytes, length, MSG_NOSIGNAL, address, address_length);
    if (sent < 0 && errno == EINTR)
        errno = EAGAIN;
    return sent;
}

ssize_t flatlink::send_to_log(int fd, const void *bytes, std::size_t length,
                              const sockaddr *address, socklen_t address_length)
{
    // ENOBUFS is retried by time, since no event tells when the host has buffers again.
    constexpr useconds_t NO_BUFFER_WAIT_US = 100;
    ssize_t sent = send_to_log_at_once(fd, bytes, length, address, address_length);
    if (sent >= 0 || !is_log_full(errno) || log_wait_ms <= 0)
        return sent;
    const auto limit = steady::now() + std::chrono::milliseconds(log_wait_ms);
    for (;;) {
        const int error = errno;
        const auto left =
            std::chrono::duration_cast<std::chrono::microseconds>(limit - steady::now());
        if (sent >= 0 || !is_log_full(error) || left.count() <= 0) {
            errno = error;
            return sent;
        }
        if (error == ENOBUFS)
            (void)usleep(NO_BUFFER_WAIT_US); // a signal may end it early
        sent = send_within(left, fd, bytes, length, address, address_length);
    }
}

void flatlink::share_lost_counts()
{
    void *page = mmap(nullptr, sizeof(lost_counts), PROT_READ | PROT_WRITE,
                      MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return;
    auto *shared = new (page) lost_counts{};
    for (const lost_kind kind : {LOST_RECORDS, LOST_LINES})
        shared->of[kind] = take_lost(kind);
    lost = shared; // never unmapped
}

void flatlink::count_lost(lost_kind kind, std::uint32_t count)
{
    lost.load()->of[kind] += count;
}

bool flatlink::has_lost(lost_kind kind)
{
    return lost.load()->of[kind] != 0;
}

std::uint32_t flatlink::take_lost(lost_kind kind)
{
    return lost.load()->of[kind].exchange(0);
}
