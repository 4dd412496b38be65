// What both echoing servers do with a connection.
#pragma once

#include <cstddef>
#include <unistd.h>

// Sends back what comes, up to the end of the connection.
inline void echo(int fd)
{
    char bytes[4096];
    ssize_t got = 0;
    while ((got = read(fd, bytes, sizeof bytes)) > 0)
        if (write(fd, bytes, static_cast<std::size_t>(got)) != got)
            return;
}
