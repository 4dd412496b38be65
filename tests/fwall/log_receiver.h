// Stands for the log daemon: receives datagrams on a path of its own.
#pragma once

#include "lib/fwall/log/daemon_msg.h"
#include "lib/ulib/fixed_text.h"
#include "tests/fwall/table_file.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

class log_receiver
{
    table_file place_{""};
    int sock_ = -1;

  public:
    const std::string path = place_.path + ".log";

    log_receiver() { start(); }
    ~log_receiver() { stop(); }
    log_receiver(const log_receiver &) = delete;
    log_receiver &operator=(const log_receiver &) = delete;

    void start()
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        flatlink::set_text(address.sun_path, path);
        sock_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const timeval patience{.tv_sec = 10, .tv_usec = 0};
        setsockopt(sock_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        EXPECT_EQ(bind(sock_, reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
    }

    // Ends the receiver and removes its path.
    void stop() const
    {
        close(sock_);
        unlink(path.c_str());
    }

    // The next datagram, which must come; "" for none within some seconds.
    std::string next() const
    {
        char bytes[4096];
        const ssize_t length = recv(sock_, bytes, sizeof bytes, 0);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
    }

    // The next datagram as a record, which it must be.
    DaemonMsg next_record() const
    {
        const std::string bytes = next();
        DaemonMsg record;
        EXPECT_EQ(bytes.size(), sizeof record);
        std::memcpy(&record, bytes.data(), std::min(bytes.size(), sizeof record));
        return record;
    }
};
