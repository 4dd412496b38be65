// The device file, or a table of answers in its place.
#include "lib/kdev/platform/host_firewall.h"

#include "lib/kdev/platform/firewall_records.h"
#include "lib/kdev/platform/own_address.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <linux/netfilter_ipv4.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace flatlink;

namespace
{

constexpr const char *FIREWALL_DEVICE = "/dev/fw0";

// What an open gives where there is no device; no descriptor reaches this number.
constexpr int STAND_IN = INT_MAX;

bool same_end(const fw_address &end, const sockaddr_in &address)
{
    return end.addr_be == address.sin_addr.s_addr && end.port_be == address.sin_port;
}

int refuse(int error)
{
    errno = error;
    return -1;
}

// The filter answers for each connection that it tracks. A destination that is the far end is
// that of an own outgoing connection, and one that is the near end was not redirected.
int answer_names(int sock, byte_area record)
{
    sockaddr_in destination{};
    socklen_t length = sizeof destination;
    if (getsockopt(sock, IPPROTO_IP, SO_ORIGINAL_DST, &destination, &length) != 0) {
        // No stream, no Internet socket, or not tracked: it was not redirected.
        const bool not_tracked = errno == ENOPROTOOPT || errno == EOPNOTSUPP;
        return not_tracked ? refuse(ENOENT) : -1;
    }
    auto names = load<fw_name_req>(record, 0);
    if (same_end(names.peer, destination) || same_end(names.local, destination))
        return refuse(ENOENT);
    names.local = to_record(destination);
    store(record, 0, names);
    return 0;
}

int answer_local(int, byte_area record)
{
    auto question = load<fw_local_req>(record, 0);
    const int index = interface_of_address(question.addr_be);
    if (index < 0)
        return -1;
    question.result_be = htonl(index > 0 ? 1 : 0);
    store(record, 0, question);
    return 0;
}

int answer_unsupported(int, byte_area)
{
    return refuse(EOPNOTSUPP);
}

constexpr struct {
    unsigned long request;
    int (*answer)(int sock, byte_area record);
} answers[] = {
    {FW_NAMES, answer_names},
    {FW_LOCAL, answer_local},
    {FW_FSA, answer_unsupported},
    {FW_UDP_TIMER, answer_unsupported},
    {FW_ADD_REDIRECT, answer_unsupported},
    {FW_DEL_REDIRECT, answer_unsupported},
};

} // namespace

int flatlink::open_host_firewall(int access)
{
    const int device = open(FIREWALL_DEVICE, access | O_CLOEXEC);
    return device < 0 && errno == ENOENT ? STAND_IN : device;
}

int flatlink::request_host_firewall(int device, int sock, unsigned long request, byte_area record)
{
    if (record.size() != fw_record_size(request))
        return refuse(EINVAL);
    if (device != STAND_IN)
        return ioctl(device, request, record.data());
    const auto *row = std::ranges::find(answers, request, [](const auto &r) { return r.request; });
    return row == std::end(answers) ? refuse(EINVAL) : row->answer(sock, record);
}

int flatlink::close_host_firewall(int device)
{
    return device == STAND_IN ? 0 : close(device);
}
