#include "lib/fwall/serve/standard_fds.h"

#include <fcntl.h>
#include <unistd.h>

using namespace flatlink;

static constexpr int standard_fds[] = {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO};
static constexpr int LAST_STANDARD = STDERR_FILENO;

static int open_null()
{
    return open("/dev/null", O_RDWR);
}

void flatlink::fill_standard_fds()
{
    int fd = open_null();
    while (fd >= 0 && fd <= LAST_STANDARD) // open returns the lowest free number
        fd = open_null();
    if (fd >= 0)
        (void)close(fd); // nothing was written
}

void flatlink::standard_fds_to_null()
{
    if (const int fd = open_null(); fd >= 0)
        standard_fds_from(fd);
}

void flatlink::standard_fds_from(int fd)
{
    for (const int standard : standard_fds)
        (void)dup2(fd, standard); // both are in range
    if (fd > LAST_STANDARD)
        (void)close(fd); // lives on in its duplicates
}
