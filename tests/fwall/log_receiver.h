// A second process that stands for the log daemon: it receives datagrams on a path of its own and
// hands each over through a pipe.
#pragma once

#include "lib/fwall/daemon_msg.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

class log_receiver
{
  public:
    std::string path;

    explicit log_receiver(int pause_ms = 0)
    {
        std::string name = (std::filesystem::temp_directory_path() / "stdlog-XXXXXX").string();
        folder = mkdtemp(name.data());
        path = folder + "/log";
        start(pause_ms);
    }

    ~log_receiver()
    {
        stop();
        std::filesystem::remove_all(folder);
    }

    log_receiver(const log_receiver &) = delete;
    log_receiver &operator=(const log_receiver &) = delete;

    // Binds, and begins to receive after `pause_ms`.
    void start(int pause_ms = 0)
    {
        int ends[2];
        constexpr int PIPE_BYTES = 1 << 20; // so that nobody need read while a test sends
        if (pipe(ends) != 0 || fcntl(ends[1], F_SETPIPE_SZ, PIPE_BYTES) < 0)
            std::abort();
        const int sock = bind_path();
        pid = fork();
        if (pid == 0) {
            usleep(static_cast<useconds_t>(pause_ms) * 1000);
            receive(sock, ends[1]);
        }
        close(sock);
        close(ends[1]);
        from_child = ends[0];
    }

    // Ends the receiver and removes its path.
    void stop()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            close(from_child);
        }
        pid = -1;
        unlink(path.c_str());
    }

    // The next datagram, which must come; "" for none within some seconds.
    std::string next() const
    {
        timeval wait{.tv_sec = 10, .tv_usec = 0};
        fd_set set;
        FD_ZERO(&set);
        FD_SET(from_child, &set);
        std::uint32_t length = 0;
        if (select(from_child + 1, &set, nullptr, nullptr, &wait) != 1 ||
            read(from_child, &length, sizeof length) != sizeof length)
            return "";
        std::string bytes(length, '\0');
        for (std::size_t done = 0; done < length;) {
            const ssize_t got = read(from_child, bytes.data() + done, length - done);
            if (got <= 0)
                return "";
            done += static_cast<std::size_t>(got);
        }
        return bytes;
    }

    // The next datagram as a record of the right size.
    std::optional<DaemonMsg> next_record() const
    {
        const std::string bytes = next();
        DaemonMsg record;
        if (bytes.size() != sizeof record)
            return std::nullopt;
        std::memcpy(&record, bytes.data(), sizeof record);
        return record;
    }

  private:
    int bind_path() const
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        const int sock = socket(AF_UNIX, SOCK_DGRAM, 0);
        if (bind(sock, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
            std::abort();
        return sock;
    }

    [[noreturn]] static void receive(int sock, int out)
    {
        char bytes[4096];
        for (;;) {
            const ssize_t got = recv(sock, bytes, sizeof bytes, 0);
            if (got < 0)
                _exit(1);
            const auto length = static_cast<std::uint32_t>(got);
            if (write(out, &length, sizeof length) < 0 || write(out, bytes, length) < 0)
                _exit(1);
        }
    }

    std::string folder;
    pid_t pid = -1;
    int from_child = -1;
};
