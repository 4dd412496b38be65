// Carries the bytes of two connections across, both ways, until both sides have said all.
#pragma once

#include <cstdint>

struct relay_result {
    bool idle = false;             // ended by the idle limit
    int error = 0;                 // of a connection that broke, the last of them; 0 for none
    std::uint64_t from_client = 0; // bytes delivered to the server
    std::uint64_t from_server = 0; // bytes delivered to the client
};

// Relays between two connected sockets, which stay the caller's. Each half is closed by itself,
// behind its last byte; when one breaks, what the other carries is still delivered.
//   idle_s  longest time in seconds in which no byte moves; below 1 there is no limit
relay_result relay(int client, int server, int idle_s);
