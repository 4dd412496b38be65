// A descriptor that is closed at the end of its block, on error paths too.
#pragma once

#include <cerrno>
#include <utility>

class platform_handle
{
  public:
    // Takes over `fd`, which may be -1 for a failed open; `close_call` takes it back.
    platform_handle(int fd, int (*close_call)(int)) : fd_(fd), close_(close_call) {}

    // Leaves errno as it was, so the error of the call that failed reaches the caller.
    ~platform_handle()
    {
        if (fd_ < 0)
            return;
        const int kept = errno;
        (void)close_(fd_); // the outcome is already decided
        errno = kept;
    }

    platform_handle(const platform_handle &) = delete;
    platform_handle &operator=(const platform_handle &) = delete;

    bool is_open() const { return fd_ >= 0; }
    int fd() const { return fd_; }

    // Gives the descriptor to the caller, who closes it.
    int release() { return std::exchange(fd_, -1); }

  private:
    int fd_;
    int (*close_)(int);
};
