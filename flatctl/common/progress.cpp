#include "flatctl/common/progress.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace flatlink;

static constexpr int PERIOD_MS = 200; // between two lines
static constexpr int WIDTH = 48;      // blanks that erase a line

static bool is_allowed = false;
static bool is_shown = false;

void flatlink::allow_progress()
{
    is_allowed = true;
}

void flatlink::erase_progress()
{
    if (is_shown)
        std::fprintf(stderr, "\r%*s\r", WIDTH, "");
    is_shown = false;
}

progress_line::progress_line(int input_fd) : input_fd_(input_fd)
{
    struct stat status {
    };
    if (fstat(input_fd, &status) == 0 && S_ISREG(status.st_mode))
        size_ = status.st_size;
}

void progress_line::show()
{
    using std::chrono::duration_cast, std::chrono::seconds;
    const std::int64_t read_bytes = size_ == 0 ? 0 : lseek(input_fd_, 0, SEEK_CUR);
    std::array<char, WIDTH> text{};
    if (read_bytes >= 0 && read_bytes < size_)
        std::snprintf(text.data(), text.size(), "reading %d%%  %lld of %lld MB",
                      static_cast<int>(100 * read_bytes / size_),
                      static_cast<long long>(read_bytes >> 20),
                      static_cast<long long>(size_ >> 20));
    else
        std::snprintf(
            text.data(), text.size(), "working  %lld s",
            static_cast<long long>(duration_cast<seconds>(steady::now() - begun_).count()));
    std::fprintf(stderr, "\r%-*s", WIDTH, text.data());
    is_shown = true;
}

void progress_line::wait_for(int fd)
{
    if (!is_allowed)
        return;
    pollfd entry{.fd = fd, .events = POLLIN, .revents = 0};
    while (poll(&entry, 1, PERIOD_MS) == 0 || steady::now() >= next_) {
        if (steady::now() >= next_) {
            show();
            next_ = steady::now() + std::chrono::milliseconds(PERIOD_MS);
        }
        if (entry.revents != 0)
            return;
    }
}
