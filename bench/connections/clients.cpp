// Clients of an echoing server, and the reader of its log.
//   clients PORT COUNT AT_ONCE LOG_PATH
// Makes COUNT connections, AT_ONCE at a time; each sends a line, reads it back and closes. Prints
// connections per second, failed connections, and datagrams that arrived at LOG_PATH, which is
// removed at the end.
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <netinet/in.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

static constexpr std::string_view LINE = "a line of a client\n";
static constexpr timeval PATIENCE{.tv_sec = 5, .tv_usec = 0};

// Counts the datagrams that arrive at a path during its lifetime.
class log_reader
{
  public:
    explicit log_reader(const char *path) : path_(path)
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::string_view(path).copy(address.sun_path, sizeof address.sun_path - 1);
        const timeval pause{.tv_sec = 0, .tv_usec = 100'000};
        if (setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &pause, sizeof pause) != 0 ||
            bind(fd_, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
            std::abort();
        thread_ = std::thread([this] { read_all(); });
    }
    ~log_reader()
    {
        if (thread_.joinable())
            (void)finish();
        close(fd_);
        unlink(path_);
    }
    log_reader(const log_reader &) = delete;
    log_reader &operator=(const log_reader &) = delete;

    // Waits until no more datagrams arrive, and returns their number.
    int finish()
    {
        over_ = true;
        thread_.join();
        return count_;
    }

  private:
    void read_all()
    {
        char bytes[2048];
        for (;;) {
            if (recv(fd_, bytes, sizeof bytes, 0) >= 0)
                ++count_;
            else if (over_)
                return;
        }
    }

    const char *path_;
    int fd_ = socket(AF_UNIX, SOCK_DGRAM, 0);
    int count_ = 0;
    std::atomic<bool> over_ = false;
    std::thread thread_;
};

static bool echo_once(int fd, in_port_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    char back[LINE.size()];
    return setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &PATIENCE, sizeof PATIENCE) == 0 &&
           connect(fd, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
           send(fd, LINE.data(), LINE.size(), MSG_NOSIGNAL) == std::ssize(LINE) &&
           recv(fd, back, sizeof back, MSG_WAITALL) == std::ssize(LINE) &&
           std::string_view(back, sizeof back) == LINE;
}

int main(int argc, char **argv)
{
    if (argc != 5)
        return 2;
    const auto port = static_cast<in_port_t>(std::atoi(argv[1]));
    const int count = std::atoi(argv[2]);
    log_reader log(argv[4]);
    std::atomic<int> begun = 0, failed = 0;
    const auto work = [&] {
        while (begun++ < count) {
            const int fd = socket(AF_INET, SOCK_STREAM, 0);
            if (!echo_once(fd, port))
                ++failed;
            close(fd);
        }
    };
    const auto from = std::chrono::steady_clock::now();
    std::vector<std::thread> at_once;
    for (int i = 0; i < std::atoi(argv[3]); ++i)
        at_once.emplace_back(work);
    for (std::thread &thread : at_once)
        thread.join();
    const std::chrono::duration<double> duration = std::chrono::steady_clock::now() - from;
    std::printf("%.0f %d %d\n", count / duration.count(), failed.load(), log.finish());
}
