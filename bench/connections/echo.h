// The handling of a connection that both echo servers share.
#pragma once

#include <cstddef>
#include <unistd.h>

// Echoes all input until the peer closes the connection.
inline void echo(int fd)
{
    char bytes[4096];
    ssize_t got = 0;
    while ((got = read(fd, bytes, sizeof bytes)) > 0)
        if (write(fd, bytes, static_cast<std::size_t>(got)) != got)
            return;
}
