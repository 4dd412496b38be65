#include "lib/fwall/access/say.h"

#include "lib/fwall/table/line_pieces.h"
#include "lib/ulib/text.h"

#include <cerrno>
#include <fcntl.h>
#include <limits>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace flatlink;

// Writes without raising SIGPIPE when `fd` is a socket.
static ssize_t write_some(int fd, std::string_view bytes, int flags)
{
    const ssize_t sent = send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL | flags);
    return sent < 0 && errno == ENOTSOCK ? write(fd, bytes.data(), bytes.size()) : sent;
}

static bool write_all(int fd, std::string_view bytes, int flags)
{
    while (!bytes.empty()) {
        const ssize_t sent = write_some(fd, bytes, flags);
        if (sent >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        else if (errno != EINTR)
            return false;
    }
    return true;
}

static int say_line(int fd, std::string_view line)
{
    return write_all(fd, line, MSG_MORE) && write_all(fd, "\r\n", 0) ? 0 : 1;
}

int fwall_sayn(int fd, const char *buffer, std::size_t length)
{
    return say_line(fd, {buffer, length});
}

int fwall_say(int fd, const char *text)
{
    return say_line(fd, text_of(text));
}

static int say_pieces(int fd, line_pieces &file, std::size_t max_bytes)
{
    std::string_view line;
    while (max_bytes > 0 && file.next(line)) {
        line = line.substr(0, max_bytes);
        max_bytes -= line.size();
        if (line.ends_with('\n'))
            line.remove_suffix(1);
        if (say_line(fd, line) != 0)
            return 1;
    }
    return file.failed() ? 1 : 0;
}

int fwall_sayfile(int fd, const char *path)
{
    line_pieces file(path == nullptr ? -1 : open(path, O_RDONLY | O_CLOEXEC));
    return say_pieces(fd, file, std::numeric_limits<std::size_t>::max());
}

// O_NONBLOCK keeps the opening of a pipe from waiting for its writer. Returns -1 with errno.
static int open_regular(const char *path)
{
    const int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    struct stat status = {};
    if (fd < 0 || (fstat(fd, &status) == 0 && S_ISREG(status.st_mode)))
        return fd;
    (void)close(fd); // nothing was read
    errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
    return -1;
}

int flatlink::fwall_saypart(int fd, const char *path, std::size_t max_bytes)
{
    line_pieces file(open_regular(path));
    return say_pieces(fd, file, max_bytes);
}
