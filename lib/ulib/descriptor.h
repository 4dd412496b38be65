// Owned file descriptors, and system calls that a signal may interrupt.
#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

// How often a call is made again. No real run of signals is longer; a kernel that reports nothing
// else must not hang the caller.
inline constexpr int MAX_INTERRUPTIONS = 100;

namespace flatlink
{

// Makes a call, and makes it again while a signal interrupts it. Returns its result; `errno` is
// that of the last attempt.
template <typename call> auto uninterrupted(call attempt)
{
    auto result = attempt();
    for (int i = 0; result < 0 && errno == EINTR && i < MAX_INTERRUPTIONS; ++i)
        result = attempt();
    return result;
}

} // namespace flatlink

// A descriptor that is closed with its owner, without a change to `errno`; -1 stands for none.
class descriptor
{
  public:
    descriptor() = default;
    explicit descriptor(int fd) : fd_(fd) {}
    descriptor(descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    descriptor &operator=(descriptor &&other) noexcept
    {
        std::swap(fd_, other.fd_);
        return *this;
    }
    ~descriptor()
    {
        const int error = errno;
        if (fd_ >= 0)
            ::close(fd_);
        errno = error;
    }

    explicit operator bool() const { return fd_ >= 0; }
    int get() const { return fd_; }

    // Gives it to the caller, who closes it.
    int release() { return std::exchange(fd_, -1); }

    // Closes it now. Returns 0, or -1 with `errno` when what was written may be lost. A signal in
    // the middle of it is no failure: the descriptor is closed then.
    int close()
    {
        const int result = ::close(std::exchange(fd_, -1));
        return result != 0 && errno == EINTR ? 0 : result;
    }

  private:
    int fd_ = -1;
};
