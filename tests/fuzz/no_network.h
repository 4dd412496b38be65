// A target's world: no devices, no route to anywhere. For its names a target has scripted_names.
#pragma once

#include "lib/kdev/platform/platform.h"

#include <cerrno>

inline int no_such(int error)
{
    errno = error;
    return -1;
}

inline constexpr platform_calls NO_NETWORK = {
    .fw_open = [](int) { return no_such(ENOENT); },
    .fw_ioctl = [](int, int, unsigned long, byte_area) { return no_such(EBADF); },
    .fw_close = [](int) { return 0; },
    .vpn_open = [] { return no_such(ENOENT); },
    .vpn_ioctl = [](int, unsigned long, byte_area) { return no_such(EBADF); },
    .vpn_close = [](int) { return 0; },
    .route_open = [] { return 0; },
    .route_write = [](int, byte_view) { return ssize_t{no_such(ESRCH)}; },
    .route_read = [](int, byte_area) { return ssize_t{no_such(EAGAIN)}; },
    .route_close = [](int) { return 0; },
};
