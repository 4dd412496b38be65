#include "flatctl/input/run_child.h"

#include "flatctl/common/progress.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <new>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

using namespace flatlink;

namespace
{

struct frame_head {
    std::uint32_t size_bytes;
    frame_kind kind;
};

constexpr std::size_t HEAD_SIZE = 5; // of a frame on the pipe
constexpr std::size_t FRAME_MAX = 65536;

constexpr int STATUS_NO_MEMORY = 251; // of a child that had none left; told by a frame too

void write_all(int fd, const char *bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t written = write(fd, bytes, size);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            _exit(STATUS_NO_MEMORY);
        bytes += written;
        size -= static_cast<std::size_t>(written);
    }
}

void put_head(char (&bytes)[HEAD_SIZE], frame_kind kind, std::size_t size)
{
    const auto size_bytes = static_cast<std::uint32_t>(size);
    std::memcpy(bytes, &size_bytes, sizeof size_bytes);
    bytes[HEAD_SIZE - 1] = static_cast<char>(kind);
}

} // namespace

// ---- the child's end

void child_port::send(frame_kind kind, std::string_view bytes) const
{
    do {
        const std::string_view part = bytes.substr(0, FRAME_MAX);
        bytes.remove_prefix(part.size());
        char head[HEAD_SIZE];
        put_head(head, kind, part.size());
        write_all(fd_, head, HEAD_SIZE);
        write_all(fd_, part.data(), part.size());
    } while (!bytes.empty());
}

namespace
{

struct port_cookie {
    const child_port *port;
    frame_kind kind;
};

ssize_t write_cookie(void *cookie, const char *bytes, std::size_t size)
{
    const auto *to = static_cast<port_cookie *>(cookie);
    to->port->send(to->kind, {bytes, size});
    return static_cast<ssize_t>(size);
}

int close_cookie(void *cookie)
{
    delete static_cast<port_cookie *>(cookie);
    return 0;
}

} // namespace

std::FILE *child_port::stream(frame_kind kind)
{
    auto *cookie = new port_cookie{this, kind};
    cookie_io_functions_t calls{};
    calls.write = write_cookie;
    calls.close = close_cookie;
    std::FILE *stream = fopencookie(cookie, "w", calls);
    if (stream == nullptr)
        delete cookie;
    return stream;
}

// ---- in the child

// The port of this process, for the handler that must not ask for memory.
static child_port *own_port = nullptr;

[[noreturn]] static void end_without_memory()
{
    own_port->send(frame_kind::MEMORY, {});
    _exit(STATUS_NO_MEMORY);
}

static void close_all_but(int input_fd, int port_fd)
{
    constexpr unsigned FIRST_OTHER = 3;
    const auto low = static_cast<unsigned>(std::min(input_fd, port_fd));
    const auto high = static_cast<unsigned>(std::max(input_fd, port_fd));
    const auto close_between = [](unsigned from, unsigned to) {
        if (from <= to)
            (void)syscall(SYS_close_range, from, to, 0);
    };
    if (input_fd >= 0) {
        close_between(FIRST_OTHER, low - 1);
        close_between(low + 1, high - 1);
    } else {
        close_between(FIRST_OTHER, high - 1);
    }
    close_between(high + 1, ~0U);
}

// Opened for reading alone: a write to the standard output fails, and nothing that this program
// opens could be written.
static void leave_standard_streams()
{
    const int nowhere = open("/dev/null", O_RDONLY | O_CLOEXEC);
    (void)dup2(nowhere, STDIN_FILENO);
    (void)dup2(nowhere, STDOUT_FILENO);
    if (nowhere > STDERR_FILENO)
        (void)close(nowhere);
}

[[noreturn]] static void be_child(const sandbox_limits &limits, int input_fd, int port_fd,
                                  const std::function<int(child_port &)> &work)
{
    child_port port(port_fd);
    own_port = &port;
    leave_standard_streams();
    close_all_but(input_fd, port_fd);
    if (std::FILE *messages = port.stream(frame_kind::MESSAGE)) {
        (void)std::setvbuf(messages, nullptr, _IOLBF, BUFSIZ);
        stderr = messages;
    }
    std::set_new_handler(end_without_memory);
    // A library's exit ends this process alone: what the parent would do at its end is not due.
    (void)on_exit([](int status, void *) { _exit(status); }, nullptr);
    if (!enter_sandbox(limits)) {
        port.send(frame_kind::MESSAGE, "the work on the input cannot be confined\n");
        _exit(1);
    }
    const char status = static_cast<char>(work(port));
    std::fflush(stderr);
    port.send(frame_kind::DONE, {&status, 1});
    _exit(0);
}

// ---- in the parent

// Reads until the buffer is full. Returns how many bytes came.
static std::size_t read_full(int fd, char *buffer, std::size_t size)
{
    std::size_t got = 0;
    while (got < size) {
        const ssize_t part = read(fd, buffer + got, size - got);
        if (part < 0 && errno == EINTR)
            continue;
        if (part <= 0)
            break;
        got += static_cast<std::size_t>(part);
    }
    return got;
}

// Takes frames until the pipe ends. The result holds what the frames alone tell: `exited` unless
// the work came to an end.
static child_result take_frames(int fd, progress_line &progress,
                                const std::function<void(frame_kind, std::string_view)> &take)
{
    std::vector<char> payload(FRAME_MAX);
    child_result result{child_end::EXITED, 0};
    char head[HEAD_SIZE];
    while (progress.wait_for(fd), read_full(fd, head, HEAD_SIZE) == HEAD_SIZE) {
        std::uint32_t size = 0;
        std::memcpy(&size, head, sizeof size);
        const auto kind = static_cast<frame_kind>(head[HEAD_SIZE - 1]);
        const bool is_frame =
            size <= FRAME_MAX && kind <= frame_kind::MEMORY && result.end == child_end::EXITED;
        if (!is_frame)
            return {child_end::GARBLED, 0};
        if (read_full(fd, payload.data(), size) != size)
            break;
        if (kind == frame_kind::DONE)
            result = {child_end::DONE, size == 1 ? static_cast<unsigned char>(payload[0]) : 0};
        else if (kind == frame_kind::MEMORY)
            result = {child_end::NO_MEMORY, 0};
        else
            take(kind, {payload.data(), size});
    }
    return result;
}

// The end that the process had, where its frames tell of none.
static child_result end_of(int status)
{
    if (WIFSIGNALED(status))
        return WTERMSIG(status) == SIGXCPU ? child_result{child_end::NO_TIME, 0}
                                           : child_result{child_end::CRASHED, WTERMSIG(status)};
    // Only a library without memory ends a process with status 0.
    return WEXITSTATUS(status) == 0 ? child_result{child_end::NO_MEMORY, 0}
                                    : child_result{child_end::EXITED, WEXITSTATUS(status)};
}

child_result flatlink::run_child(const sandbox_limits &limits, int input_fd,
                                 const std::function<int(child_port &)> &work,
                                 const std::function<void(frame_kind, std::string_view)> &take)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return {child_end::NO_CHILD, errno};
    (void)std::fflush(nullptr); // or the child could write it a second time
    const pid_t child = fork();
    if (child < 0) {
        const int error = errno;
        (void)close(ends[0]);
        (void)close(ends[1]);
        return {child_end::NO_CHILD, error};
    }
    if (child == 0)
        be_child(limits, input_fd, ends[1], work);
    (void)close(ends[1]);
    progress_line progress(input_fd);
    child_result result = take_frames(ends[0], progress, take);
    (void)close(ends[0]); // a child that still writes ends by it
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return result.end == child_end::EXITED ? end_of(status) : result;
}

std::string flatlink::words_for(const child_result &result)
{
    switch (result.end) {
    case child_end::DONE:
        return "done";
    case child_end::NO_CHILD:
        return std::string("no process for it: ") + std::strerror(result.detail);
    case child_end::CRASHED:
        return std::string("the work on it crashed: ") + strsignal(result.detail);
    case child_end::EXITED:
        return "the work on it ended early with status " + std::to_string(result.detail);
    case child_end::NO_TIME:
        return "the work on it took longer than --time-limit allows";
    case child_end::NO_MEMORY:
        return "the work on it needs more memory than --memory allows";
    case child_end::GARBLED:
        return "the work on it sent what makes no sense";
    }
    return {};
}
