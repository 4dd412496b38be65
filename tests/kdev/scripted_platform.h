// A platform table that plays a script and writes down what was asked of it. One at a time; the
// host's table comes back at the end of the block.
#pragma once

#include "lib/kdev/platform/platform.h"
#include "lib/ulib/address.h"

#include <arpa/inet.h>
#include <cerrno>
#include <deque>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

using byte_list = std::vector<std::uint8_t>;

class scripted_platform
{
  public:
    // The script.
    int route_open_error = 0, fw_open_error = 0, vpn_open_error = ENOENT;
    // An errno, or -1 for a failure that sets none; below that, how many bytes a write leaves out.
    std::function<int(byte_view)> on_route_write = [](byte_view) { return 0; };
    std::deque<byte_list> readings; // none left: EAGAIN
    std::function<int(unsigned long, byte_area)> on_vpn_ioctl = [](auto...) { return 0; };
    std::function<int(unsigned long, byte_area)> on_fw_ioctl = [](auto...) { return 0; };

    // The record.
    struct device_request {
        int access, sock;
        unsigned long number;
        byte_list record;
    };
    std::vector<byte_list> written;
    std::vector<device_request> fw_requests;
    int route_opens = 0;

    scripted_platform()
    {
        current = this;
        flatlink::platform = &TABLE;
    }
    ~scripted_platform()
    {
        EXPECT_EQ(open_now_, 0) << "left open, or closed twice";
        flatlink::platform = &flatlink::HOST_PLATFORM;
    }
    scripted_platform(const scripted_platform &) = delete;
    scripted_platform &operator=(const scripted_platform &) = delete;

  private:
    static constexpr int FD = 7001;

    static int failed(int error)
    {
        errno = error;
        return -1;
    }
    static int opened(int error)
    {
        current->open_now_ += error == 0 ? 1 : 0;
        return error == 0 ? FD : failed(error);
    }
    static int close_one(int fd)
    {
        EXPECT_EQ(fd, FD);
        --current->open_now_;
        return failed(EBADMSG); // must not show in the caller's errno
    }
    static int open_route()
    {
        ++current->route_opens;
        return opened(current->route_open_error);
    }
    static ssize_t write_route(int, byte_view message)
    {
        current->written.emplace_back(message.begin(), message.end());
        const int error = current->on_route_write(message);
        if (error == 0 || error < -1)
            return static_cast<ssize_t>(message.size()) + error;
        return error == -1 ? -1 : failed(error);
    }
    static ssize_t read_route(int, byte_area area)
    {
        if (current->readings.empty())
            return failed(EAGAIN);
        const byte_list next = current->readings.front();
        current->readings.pop_front();
        std::copy_n(next.begin(), std::min(next.size(), area.size()), area.begin());
        return static_cast<ssize_t>(std::min(next.size(), area.size()));
    }
    static int open_fw(int access)
    {
        current->fw_access_ = access;
        return opened(current->fw_open_error);
    }
    static int request_fw(int, int sock, unsigned long number, byte_area record)
    {
        current->fw_requests.push_back(
            {current->fw_access_, sock, number, {record.begin(), record.end()}});
        return current->on_fw_ioctl(number, record);
    }

    int fw_access_ = -1; // of the latest open
    int open_now_ = 0;
    static inline scripted_platform *current = nullptr;
    static const platform_calls TABLE;
};

inline const platform_calls scripted_platform::TABLE = {
    .fw_open = open_fw,
    .fw_ioctl = request_fw,
    .fw_close = close_one,
    .vpn_open = [] { return opened(current->vpn_open_error); },
    .vpn_ioctl = [](int, auto... request) { return current->on_vpn_ioctl(request...); },
    .vpn_close = close_one,
    .route_open = open_route,
    .route_write = write_route,
    .route_read = read_route,
    .route_close = close_one,
};

// Fields by literal offset, so that a test fixes the layout without the product's structs.
inline std::string dotted_at(byte_view bytes, std::size_t offset)
{
    EXPECT_LE(offset + 4, bytes.size());
    return flatlink::format_address(flatlink::load<u32>(bytes, offset));
}

// A socket address of a firewall record, every number most significant byte first; the text is
// "address:port".
inline void put_end(byte_area record, std::size_t offset, const char *addr, std::uint16_t port)
{
    flatlink::store(record, offset, htons(AF_INET));
    flatlink::store(record, offset + 2, htons(port));
    flatlink::store(record, offset + 4, inet_addr(addr));
}

inline std::string end_at(byte_view record, std::size_t offset)
{
    EXPECT_EQ(flatlink::load<std::uint16_t>(record, offset), htons(AF_INET));
    EXPECT_EQ(flatlink::load<std::uint64_t>(record, offset + 8), 0u);
    return dotted_at(record, offset + 4) + ':' +
           std::to_string(ntohs(flatlink::load<std::uint16_t>(record, offset + 2)));
}

// A complete answer to a look-up of this thread; addresses as text.
inline byte_list route_reply(const char *dst, const char *gateway, const char *mask,
                             const char *source)
{
    byte_list reply(392);
    flatlink::store<std::uint16_t>(reply, 0, 392);
    reply[2] = 3;
    reply[3] = 4;
    for (const auto &[offset, number] :
         {std::pair(8, 0x41), {12, 0x37}, {16, getpid()}, {20, gettid()}})
        flatlink::store(reply, static_cast<std::size_t>(offset), number);
    for (const auto &[offset, addr] :
         {std::pair(80, dst), {96, gateway}, {112, mask}, {380, source}})
        flatlink::store(reply, static_cast<std::size_t>(offset), inet_addr(addr));
    return reply;
}
