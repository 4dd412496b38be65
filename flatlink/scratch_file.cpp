#include "flatlink/scratch_file.h"

#include "flatlink/driver.h"
#include "flatlink/mapped_output.h"
#include "flatlink/records/line.h"

#include <cstdlib>
#include <fcntl.h>
#include <pwd.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>

using namespace flatlink;

static constexpr mode_t OWNER_ONLY = 0600;

namespace
{

// The output side of the stream.
struct scratch_output {
    int fd = -1;
    int error = 0; // errno of the first write that failed
    mapped_output file;
};

} // namespace

static scratch_output output;

// True for a regular file of this user with a single link: one that an earlier run may have left,
// and that no other name leads to. Sets errno if not.
static bool is_own_file(int fd)
{
    struct stat status {
    };
    if (uninterrupted([&] { return fstat(fd, &status); }) != 0)
        return false;
    errno = EPERM;
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1;
}

// Checks the owner first: another user's file must be neither locked nor truncated.
static bool empty_own_file(int fd)
{
    return is_own_file(fd) && uninterrupted([&] { return flock(fd, LOCK_EX | LOCK_NB); }) == 0 &&
           uninterrupted([&] { return fchmod(fd, OWNER_ONLY); }) == 0 &&
           uninterrupted([&] { return ftruncate(fd, 0); }) == 0;
}

static int note_error(int error)
{
    if (output.error == 0)
        output.error = error;
    return error;
}

static ssize_t write_output(void *, const char *bytes, std::size_t size)
{
    const int error = note_error(output.file.write({bytes, size}));
    return error == 0 ? static_cast<ssize_t>(size) : 0;
}

// The way for the lines of the trace past the stream's buffer and its lock.
static bool append_output(text_parts parts)
{
    if (output.file.append(parts))
        return true;
    if (!output.file.is_mapping())
        shortcut = {}; // each line would be a system call
    return false;
}

static int close_output(void *)
{
    shortcut = {};
    const int error = note_error(output.file.finish());
    const bool is_closed = descriptor(std::exchange(output.fd, -1)).close() == 0;
    if (!is_closed)
        note_error(errno);
    return is_closed && error == 0 ? 0 : -1;
}

void flatlink::cut_scratch_file()
{
    if (output.fd >= 0)
        output.file.cut();
}

// O_NONBLOCK: opening must not wait, should the file be a pipe.
std::FILE *flatlink::open_scratch_file()
{
    const int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    descriptor file(uninterrupted([&] { return open(SCRATCH_FILE, flags, OWNER_ONLY); }));
    if (!file || !empty_own_file(file.get()))
        return nullptr;
    const cookie_io_functions_t calls = {
        .read = nullptr, .write = write_output, .seek = nullptr, .close = close_output};
    std::FILE *stream = fopencookie(&output, "w", calls);
    if (stream == nullptr)
        return nullptr;
    output = {file.release(), 0, {}};
    output.file.start(output.fd);
    shortcut = {stream, append_output};
    static const int registered = std::atexit(cut_scratch_file);
    (void)registered; // if that failed, an early exit leaves NUL bytes at the end
    return stream;
}

int flatlink::scratch_file_error()
{
    return output.error;
}

std::size_t flatlink::scratch_file_size()
{
    return output.file.length();
}

descriptor flatlink::hold_scratch_file()
{
    return descriptor(fcntl(output.fd, F_DUPFD_CLOEXEC, 0));
}

fault flatlink::flush_scratch_file(const descriptor &held)
{
    if (!is_own_file(held.get()) || uninterrupted([&] { return fsync(held.get()); }) != 0)
        return {errno};
    return {};
}

static void report_owner(uid_t owner)
{
    const passwd *user = getpwuid(owner);
    const std::string name = user != nullptr ? user->pw_name : "user " + std::to_string(owner);
    std::fprintf(stderr, "%s: it belongs to %s; run as %s, or have it removed\n", SCRATCH_FILE,
                 name.c_str(), name.c_str());
}

void flatlink::report_scratch_file(int error)
{
    struct stat status {
    };
    const bool is_refused =
        error == EPERM || error == EACCES || error == ELOOP || error == ENXIO || error == EISDIR;
    const bool is_known = is_refused && lstat(SCRATCH_FILE, &status) == 0;
    const char *words = std::strerror(error);
    if (error == EWOULDBLOCK)
        words = "another run is writing it";
    else if (is_known && S_ISLNK(status.st_mode))
        words = "it is a symbolic link; remove it";
    else if (is_known && !S_ISREG(status.st_mode))
        words = "it is not a plain file; remove it";
    else if (is_known && status.st_uid != geteuid())
        return report_owner(status.st_uid);
    else if (is_known && status.st_nlink > 1)
        words = "it has a second name, a hard link; remove it";
    std::fprintf(stderr, "%s: %s\n", SCRATCH_FILE, words);
}
