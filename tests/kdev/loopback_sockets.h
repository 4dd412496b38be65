// Plain sockets for the tests of what is asked about them.
#pragma once

#include "lib/ulib/address.h"

#include <arpa/inet.h>
#include <cstdint>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

class test_socket
{
  public:
    explicit test_socket(int fd) : fd_(fd) { EXPECT_GE(fd, 0); }
    ~test_socket() { close(fd_); }
    test_socket(const test_socket &) = delete;
    test_socket &operator=(const test_socket &) = delete;
    operator int() const { return fd_; }

  private:
    int fd_;
};

inline sockaddr_in end_of(const char *addr, std::uint16_t port)
{
    sockaddr_in end{};
    end.sin_family = AF_INET;
    end.sin_port = htons(port);
    end.sin_addr.s_addr = inet_addr(addr);
    return end;
}

inline const sockaddr *generic(const sockaddr_in &end)
{
    return reinterpret_cast<const sockaddr *>(&end);
}

// "address:port", the text that the checks compare.
inline std::string text_of_end(const sockaddr_in &end)
{
    return (end.sin_family == AF_INET ? "" : "no family ") + dotted(end.sin_addr.s_addr) + ':' +
           std::to_string(ntohs(end.sin_port));
}

// What the socket itself says of its near or far end.
inline sockaddr_in plain_end(int (*call)(int, sockaddr *, socklen_t *), int sock)
{
    sockaddr_in end{};
    socklen_t length = sizeof end;
    EXPECT_EQ(0, call(sock, reinterpret_cast<sockaddr *>(&end), &length));
    return end;
}

// A socket of the type, bound to the address and a port of the system's choice; a stream listens.
inline int bound_socket(int type, const char *addr)
{
    const int sock = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    const sockaddr_in end = end_of(addr, 0);
    EXPECT_EQ(0, bind(sock, generic(end), sizeof end));
    if (type == SOCK_STREAM) {
        EXPECT_EQ(0, listen(sock, 4));
    }
    return sock;
}

inline int connected_socket(int type, const sockaddr_in &end)
{
    const int sock = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    EXPECT_EQ(0, connect(sock, generic(end), sizeof end)) << text_of_end(end);
    return sock;
}

// The next connection; -1 when none came within five seconds.
inline int accepted_socket(int listener)
{
    pollfd wait = {.fd = listener, .events = POLLIN, .revents = 0};
    return poll(&wait, 1, 5000) == 1 ? accept4(listener, nullptr, nullptr, SOCK_CLOEXEC) : -1;
}

// Two ends of a connection over the loopback.
struct loopback_connection {
    test_socket listener{bound_socket(SOCK_STREAM, "127.0.0.1")};
    test_socket client{connected_socket(SOCK_STREAM, plain_end(getsockname, listener))};
    test_socket server{accepted_socket(listener)};
};
