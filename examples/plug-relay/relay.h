// Relays bytes between two connections, in both directions, until both sides have finished.
#pragma once

#include <chrono>
#include <cstdint>

// Limits of a session that does not end on its own; below 1: no limit.
struct relay_limits {
    int idle_s = 0;    // longest time in seconds in which no byte moves
    int session_s = 0; // longest time in seconds, whatever moves, from `begun` on
    std::chrono::steady_clock::time_point begun;
};

enum relay_end { RELAY_DONE, RELAY_IDLE, RELAY_TIME_OVER };

struct relay_result {
    relay_end end = RELAY_DONE;    // which limit ended it, if any
    int error = 0;                 // of a connection that broke, the first of them; 0 for none
    std::uint64_t from_client = 0; // bytes delivered to the server
    std::uint64_t from_server = 0; // bytes delivered to the client
};

// Relays between two connected sockets, which stay the caller's. Each direction is closed
// separately after its last byte; if one breaks, the other still delivers its data.
relay_result relay(int client, int server, const relay_limits &limits);
