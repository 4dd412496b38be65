#include "relay.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <poll.h>
#include <sys/socket.h>
#include <sys/types.h>

namespace
{

using steady = std::chrono::steady_clock;

enum side { CLIENT, SERVER, SIDES };

constexpr side other(side one)
{
    return one == CLIENT ? SERVER : CLIENT;
}

// One direction: what has come from a side and waits for the other.
struct half {
    std::array<char, 65536> buffer;
    std::size_t begin = 0;
    std::size_t end = 0;
    std::uint64_t bytes = 0; // delivered
    bool ended = false;      // its sender has closed
    bool closed = false;     // and its receiver has been told

    bool is_empty() const { return begin == end; }
};

struct session {
    int fds[SIDES];
    half from[SIDES];
    bool moved = false; // since this was last cleared
    int error = 0;      // of the first failure, which tells why; others follow from it
};

bool would_wait()
{
    return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR;
}

void read_from(session &own, side one)
{
    half &way = own.from[one];
    const ssize_t got = recv(own.fds[one], way.buffer.data(), way.buffer.size(), MSG_DONTWAIT);
    if (got < 0 && would_wait())
        return;
    if (got < 0 && own.error == 0)
        own.error = errno;
    own.moved = true;
    way.begin = 0;
    way.end = got < 0 ? 0 : static_cast<std::size_t>(got);
    way.ended = got <= 0;
}

// The receiver of this direction is gone; the other direction goes on.
void give_up(session &own, half &way, int error)
{
    own.error = own.error == 0 ? error : own.error;
    way.begin = way.end;
    way.ended = way.closed = true;
}

void deliver_from(session &own, side one)
{
    half &way = own.from[one];
    const int to = own.fds[other(one)];
    if (!way.is_empty()) {
        const ssize_t sent =
            send(to, &way.buffer[way.begin], way.end - way.begin, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (sent < 0 && !would_wait())
            give_up(own, way, errno);
        if (sent < 0)
            return;
        own.moved = true;
        way.begin += static_cast<std::size_t>(sent);
        way.bytes += static_cast<std::uint64_t>(sent);
    }
    if (way.ended && way.is_empty() && !way.closed) {
        way.closed = true;
        (void)shutdown(to, SHUT_WR); // a receiver that is gone needs no end
    }
}

// The events to poll for at a side. A side that has nothing left to send or receive is left out,
// because poll would report its hang-up all the time.
pollfd wanted(const session &own, side one)
{
    const half &in = own.from[one];
    const half &out = own.from[other(one)];
    pollfd entry{.fd = own.fds[one], .events = 0, .revents = 0};
    if (!in.ended && in.is_empty())
        entry.events = POLLIN;
    if (!out.is_empty())
        entry.events = static_cast<short>(entry.events | POLLOUT);
    if (entry.events == 0 && out.closed)
        entry.fd = -1;
    return entry;
}

void transfer(session &own, side one, const pollfd &seen)
{
    if (seen.revents == 0)
        return;
    if (seen.events == 0) // it broke down while it was waiting to hear
        give_up(own, own.from[other(one)], ECONNRESET);
    if ((seen.events & POLLIN) != 0)
        read_from(own, one);
    deliver_from(own, one);
    deliver_from(own, other(one));
}

// A limit of seconds from a moment on; one below 1 is never reached.
steady::time_point limit_from(steady::time_point begun, int seconds)
{
    return seconds > 0 ? begun + std::chrono::seconds(seconds) : steady::time_point::max();
}

// Waits for a side that can go on. False when the limit comes first.
bool wait_until(pollfd (&entries)[SIDES], steady::time_point limit)
{
    using std::chrono::milliseconds;
    for (;;) {
        constexpr milliseconds LONGEST{60'000}; // a limit may exceed what poll can count
        const auto now = steady::now();
        const milliseconds left =
            limit > now + LONGEST ? LONGEST : std::chrono::ceil<milliseconds>(limit - now);
        if (left.count() <= 0)
            return false;
        if (poll(entries, SIDES, static_cast<int>(left.count())) > 0)
            return true;
    }
}

} // namespace

relay_result relay(int client, int server, const relay_limits &limits)
{
    static session own; // large; one process serves one connection
    own.fds[CLIENT] = client;
    own.fds[SERVER] = server;
    const auto session_limit = limit_from(limits.begun, limits.session_s);
    auto idle_limit = limit_from(steady::now(), limits.idle_s);
    auto end = RELAY_DONE;
    while (!own.from[CLIENT].closed || !own.from[SERVER].closed) {
        pollfd entries[SIDES] = {wanted(own, CLIENT), wanted(own, SERVER)};
        if (!wait_until(entries, std::min(idle_limit, session_limit))) {
            end = session_limit <= idle_limit ? RELAY_TIME_OVER : RELAY_IDLE;
            break;
        }
        own.moved = false;
        transfer(own, CLIENT, entries[CLIENT]);
        transfer(own, SERVER, entries[SERVER]);
        if (own.moved)
            idle_limit = limit_from(steady::now(), limits.idle_s);
    }
    return {end, own.error, own.from[CLIENT].bytes, own.from[SERVER].bytes};
}
