// Plain sockets for the tests of what is asked about them.
#pragma once

#include "lib/kdev/platform/handle.h"
#include "lib/ulib/address.h"

#include <arpa/inet.h>
#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

struct test_socket : platform_handle {
    explicit test_socket(int fd) : platform_handle(fd, close) { EXPECT_GE(fd, 0); }
    operator int() const { return fd(); }
};

inline sockaddr_in end_of(const char *addr, std::uint16_t port)
{
    sockaddr_in end{};
    end.sin_family = AF_INET;
    end.sin_port = htons(port);
    end.sin_addr.s_addr = inet_addr(addr);
    return end;
}

// "address:port", the text that the checks compare.
inline std::string text_of_end(const sockaddr_in &end)
{
    return (end.sin_family == AF_INET ? "" : "no family ") +
           flatlink::format_address(end.sin_addr.s_addr) + ':' +
           std::to_string(ntohs(end.sin_port));
}

// What the socket itself says of its near or far end.
inline sockaddr_in plain_end(int (*call)(int, sockaddr *, socklen_t *), int sock)
{
    sockaddr_in end{};
    socklen_t length = sizeof end;
    EXPECT_EQ(call(sock, reinterpret_cast<sockaddr *>(&end), &length), 0);
    return end;
}

// A socket of the type for which `call`, bind or connect, was made with the address; it can
// accept connections if it is a bound stream.
inline int socket_at(int (*call)(int, const sockaddr *, socklen_t), int type,
                     const sockaddr_in &end)
{
    const int sock = socket(AF_INET, type | SOCK_CLOEXEC, 0);
    EXPECT_EQ(call(sock, reinterpret_cast<const sockaddr *>(&end), sizeof end), 0);
    (void)listen(sock, 4);
    return sock;
}

// Two ends of a connection over the loopback.
struct loopback_connection {
    test_socket listener{socket_at(bind, SOCK_STREAM, end_of("127.0.0.1", 0))};
    test_socket client{socket_at(connect, SOCK_STREAM, plain_end(getsockname, listener))};
    test_socket server{accept4(listener, nullptr, nullptr, SOCK_CLOEXEC)};
};

// A datagram from the sender goes to the receiver.
struct loopback_datagrams {
    test_socket receiver{socket_at(bind, SOCK_DGRAM, end_of("127.0.0.1", 0))};
    test_socket sender{socket_at(connect, SOCK_DGRAM, plain_end(getsockname, receiver))};
};
