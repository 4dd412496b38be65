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
    struct reading {
        byte_list bytes;
        int error = 0; // not 0: the read fails with it
    };

    // The script.
    int route_open_error = 0, fw_open_error = 0, vpn_open_error = ENOENT;
    std::function<int(byte_view)> on_route_write = [](byte_view) { return 0; }; // an errno
    ssize_t route_write_short = 0; // bytes that a write leaves out
    std::deque<reading> readings;  // none left: EAGAIN
    std::function<int(byte_area)> on_vpn_ioctl = [](byte_area) { return 0; };
    std::function<int(unsigned long, byte_area)> on_fw_ioctl = [](auto...) { return 0; };

    // The record.
    std::vector<byte_list> written;
    struct device_request {
        int access, sock; // of the firewall device alone
        unsigned long number;
        byte_list record;
    };
    std::vector<device_request> vpn_requests, fw_requests;
    int route_opens = 0;

    scripted_platform()
    {
        current = this;
        platform = &TABLE;
    }
    ~scripted_platform()
    {
        EXPECT_EQ(open_now, 0) << "left open, or closed twice";
        platform = &HOST_PLATFORM;
    }
    scripted_platform(const scripted_platform &) = delete;
    scripted_platform &operator=(const scripted_platform &) = delete;

  private:
    static constexpr int ROUTE_FD = 7001, VPN_FD = 7002, FW_FD = 7003;

    static int failed(int error)
    {
        errno = error;
        return -1;
    }
    static int opened(int error, int fd)
    {
        current->open_now += error == 0 ? 1 : 0;
        return error == 0 ? fd : failed(error);
    }
    template <int FD> static int close_one(int fd)
    {
        EXPECT_EQ(FD, fd);
        --current->open_now;
        return failed(EBADMSG); // must not show in the caller's errno
    }
    static int route_open()
    {
        ++current->route_opens;
        return opened(current->route_open_error, ROUTE_FD);
    }
    static ssize_t route_write(int fd, byte_view message)
    {
        EXPECT_EQ(ROUTE_FD, fd);
        current->written.emplace_back(message.begin(), message.end());
        // An error of -1 is a failure that sets no errno.
        const int error = current->on_route_write(message);
        if (error != 0)
            return error > 0 ? failed(error) : -1;
        return static_cast<ssize_t>(message.size()) - current->route_write_short;
    }
    static ssize_t route_read(int fd, byte_area area)
    {
        EXPECT_EQ(ROUTE_FD, fd);
        if (current->readings.empty())
            return failed(EAGAIN);
        const reading next = std::move(current->readings.front());
        current->readings.pop_front();
        if (next.error != 0)
            return failed(next.error);
        const std::size_t size_bytes = std::min(next.bytes.size(), area.size());
        std::copy_n(next.bytes.begin(), size_bytes, area.begin());
        return static_cast<ssize_t>(size_bytes);
    }
    static int vpn_open() { return opened(current->vpn_open_error, VPN_FD); }
    static int vpn_ioctl(int, unsigned long number, byte_area message)
    {
        current->vpn_requests.push_back({-1, -1, number, {message.begin(), message.end()}});
        return current->on_vpn_ioctl(message);
    }
    static int fw_open(int access)
    {
        current->fw_access = access;
        return opened(current->fw_open_error, FW_FD);
    }
    static int fw_ioctl(int fd, int sock, unsigned long number, byte_area record)
    {
        EXPECT_EQ(FW_FD, fd);
        current->fw_requests.push_back(
            {current->fw_access, sock, number, {record.begin(), record.end()}});
        return current->on_fw_ioctl(number, record);
    }

    int fw_access = -1; // of the latest open
    int open_now = 0;
    static inline scripted_platform *current = nullptr;
    static inline const platform_calls TABLE = {
        .fw_open = fw_open,
        .fw_ioctl = fw_ioctl,
        .fw_close = close_one<FW_FD>,
        .vpn_open = vpn_open,
        .vpn_ioctl = vpn_ioctl,
        .vpn_close = close_one<VPN_FD>,
        .route_open = route_open,
        .route_write = route_write,
        .route_read = route_read,
        .route_close = close_one<ROUTE_FD>,
    };
};

// Fields by literal offset, so that a test fixes the layout by itself.
inline std::string dotted_at(byte_view bytes, std::size_t offset)
{
    EXPECT_LE(offset + 4, bytes.size());
    return dotted(load<u32>(bytes, offset));
}

// A socket address of a firewall record, every number most significant byte first; the text is
// "address:port".
inline void put_end(byte_area record, std::size_t offset, const char *addr, std::uint16_t port)
{
    store(record, offset, htons(AF_INET));
    store(record, offset + 2, htons(port));
    store(record, offset + 4, inet_addr(addr));
}

inline std::string end_at(byte_view record, std::size_t offset)
{
    EXPECT_EQ(htons(AF_INET), load<std::uint16_t>(record, offset));
    EXPECT_EQ(0u, load<std::uint64_t>(record, offset + 8));
    return dotted_at(record, offset + 4) + ':' +
           std::to_string(ntohs(load<std::uint16_t>(record, offset + 2)));
}

// A complete answer to a look-up of this thread; addresses as text.
inline byte_list route_reply(const char *dst, const char *gateway, const char *mask,
                             const char *source)
{
    byte_list reply(392);
    store<std::uint16_t>(reply, 0, 392);
    store<std::uint8_t>(reply, 2, 3);
    store<std::uint8_t>(reply, 3, 4);
    store<std::int32_t>(reply, 8, 0x41);
    store<std::int32_t>(reply, 12, 0x37);
    store<std::int32_t>(reply, 16, getpid());
    store<std::int32_t>(reply, 20, gettid());
    store(reply, 76 + 4, inet_addr(dst));
    store(reply, 92 + 4, inet_addr(gateway));
    store(reply, 108 + 4, inet_addr(mask));
    store(reply, 380, inet_addr(source));
    return reply;
}
