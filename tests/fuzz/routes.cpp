// What a kernel may send about routes: by the first byte either answers on a routing socket, read
// as they come, or datagrams of netlink. No answer is trusted further than its lengths reach.
#include "lib/kdev/platform/netlink.h"
#include "lib/kdev/platform/route_message.h"
#include "lib/kdev/route_access.h"
#include "tests/fuzz/input_bytes.h"
#include "tests/fuzz/must.h"
#include "tests/fuzz/no_network.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>

using namespace flatlink;

static input_bytes *source = nullptr;

// The next message: its length in two bytes, and a byte of what is done to it on the way.
static std::string next_message(std::uint8_t &how)
{
    const std::size_t length = source->byte() + std::size_t{256} * source->byte();
    how = source->byte();
    const std::string message(source->left.substr(0, length));
    source->left.remove_prefix(message.size());
    return message;
}

static ssize_t fill(std::uint8_t *bytes, std::size_t room, const std::string &message)
{
    const std::size_t length = std::min(room, message.size());
    std::memcpy(bytes, message.data(), length);
    return static_cast<ssize_t>(length);
}

// In place of the host's: a netlink socket that is any descriptor, and answers from the input.
extern "C" int socket(int /*domain*/, int /*type*/, int /*protocol*/) noexcept
{
    return open("/dev/null", O_RDWR | O_CLOEXEC);
}

extern "C" ssize_t sendto(int /*fd*/, const void * /*bytes*/, std::size_t length, int /*flags*/,
                          const sockaddr * /*address*/, socklen_t /*address_length*/)
{
    return static_cast<ssize_t>(length);
}

extern "C" ssize_t recvfrom(int /*fd*/, void *bytes, std::size_t room, int /*flags*/,
                            sockaddr *address, socklen_t *address_length)
{
    std::uint8_t how = 0;
    if (source->left.empty())
        return no_such(ENOBUFS);
    const std::string message = next_message(how);
    sockaddr_nl sender{};
    sender.nl_pid = how & 1U; // 0: the kernel
    std::memcpy(address, &sender, sizeof sender);
    *address_length = sizeof sender;
    return fill(static_cast<std::uint8_t *>(bytes), room, message);
}

static ssize_t read_route(int /*fd*/, byte_area area)
{
    std::uint8_t how = 0;
    if (source->left.empty())
        return no_such(EAGAIN);
    const std::string message = next_message(how);
    const ssize_t length = fill(area.data(), area.size(), message);
    if ((how & 1U) != 0) { // meant for this process, as no input can know
        store(area, offsetof(route_header, pid), std::int32_t{getpid()});
        store(area, offsetof(route_header, seq), std::int32_t{gettid()});
    }
    return length;
}

static void check_netlink()
{
    const std::size_t given = source->left.size();
    std::size_t routes = 0;
    const int result = ask_kernel(route_request(RTM_GETROUTE, NLM_F_DUMP),
                                  [&](const kernel_route &) { ++routes; });
    must(result == 0 || result == -1, "no answer");
    must(routes * (sizeof(nlmsghdr) + sizeof(rtmsg)) <= given, "more routes than bytes");
}

static void check_routing_socket()
{
    static constexpr platform_calls CALLS = [] {
        platform_calls calls = NO_NETWORK;
        calls.route_write = [](int, byte_view message) {
            return static_cast<ssize_t>(message.size());
        };
        calls.route_read = read_route;
        return calls;
    }();
    platform = &CALLS;
    std::uint8_t reply[RA_REPLY_SIZE];
    u32 address = 0;
    char name[20];
    (void)ra_lookup_route(1, reply);
    (void)ra_get_route_address(1, &address);
    for (const std::size_t room : {sizeof name, std::size_t{16}})
        if (ra_get_route_interface(1, {name, room}) == RA_DONE)
            must(std::memchr(name, 0, room) != nullptr || room == 16, "a name without an end");
    (void)ra_delete_route(1);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    input_bytes input(data, size);
    source = &input;
    if (input.byte() % 2 == 0)
        check_netlink();
    else
        check_routing_socket();
    return 0;
}
