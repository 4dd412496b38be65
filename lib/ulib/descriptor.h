// An owner for file descriptors, and a retry for system calls that a signal interrupts.
#pragma once

#include <cerrno>
#include <unistd.h>
#include <utility>

// Limit of retries. Real signals never come in such a row; a kernel that reports nothing but EINTR
// must not hang the caller.
inline constexpr int MAX_INTERRUPTIONS = 100;

namespace flatlink
{

// Makes a call and retries it while a signal interrupts it. Returns its result; `errno` is that of
// the last attempt.
template <typename call> auto uninterrupted(call attempt)
{
    auto result = attempt();
    for (int i = 0; result < 0 && errno == EINTR && i < MAX_INTERRUPTIONS; ++i)
        result = attempt();
    return result;
}

} // namespace flatlink

// Owns a descriptor; the destructor closes it and keeps `errno`. -1 stands for none.
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

    // Hands the descriptor over to the caller, who must close it.
    int release() { return std::exchange(fd_, -1); }

    // Closes it now. Returns 0, or -1 with `errno` when written data may be lost. EINTR is no
    // failure: Linux has closed the descriptor by then.
    int close()
    {
        const int result = ::close(std::exchange(fd_, -1));
        return result != 0 && errno == EINTR ? 0 : result;
    }

  private:
    int fd_ = -1;
};
