// This host's platform table: device files where they stand, else its own means.
#include "lib/kdev/platform/host_firewall.h"
#include "lib/kdev/platform/netlink_routes.h"
#include "lib/kdev/platform/platform.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace flatlink;

namespace
{

constexpr const char *VPN_DEVICE = "/dev/vvpn0";

int open_vpn_device()
{
    return open(VPN_DEVICE, O_RDWR | O_CLOEXEC);
}

int request_vpn_device(int device, unsigned long request, byte_area message)
{
    return ioctl(device, request, message.data());
}

ssize_t read_routes(int fd, byte_area message)
{
    return read(fd, message.data(), message.size());
}

} // namespace

const platform_calls flatlink::HOST_PLATFORM = {
    .fw_open = open_host_firewall,
    .fw_ioctl = request_host_firewall,
    .fw_close = close_host_firewall,
    .vpn_open = open_vpn_device,
    .vpn_ioctl = request_vpn_device,
    .vpn_close = ::close,
    .route_open = open_netlink_routes,
    .route_write = write_netlink_routes,
    .route_read = read_routes,
    .route_close = ::close,
    .route_sources = find_netlink_sources,
};

const platform_calls *flatlink::platform = &HOST_PLATFORM;
