#include "flatlink/scratch_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "flatlink/driver.h"

static constexpr mode_t OWNER_ONLY = 0600;

// True when the open file is one that this user could have made here, and nobody else can reach.
static bool is_own_file(int fd)
{
    struct stat status {
    };
    if (fstat(fd, &status) != 0)
        return false;
    errno = EPERM;
    return S_ISREG(status.st_mode) && status.st_uid == geteuid() && status.st_nlink == 1;
}

// Not truncated before it is known whose it is; not waited for, should it be a pipe.
static bool empty_own_file(int fd)
{
    return is_own_file(fd) && fchmod(fd, OWNER_ONLY) == 0 && ftruncate(fd, 0) == 0;
}

std::FILE *open_scratch_file()
{
    const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    const int fd = open(SCRATCH_FILE, flags, OWNER_ONLY);
    if (fd < 0)
        return nullptr;
    std::FILE *stream = empty_own_file(fd) ? fdopen(fd, "w") : nullptr;
    if (stream == nullptr) {
        const int error = errno;
        close(fd);
        errno = error;
    }
    return stream;
}
