// flatlink <path>: replaces a firewall configuration database by its flat VPN data.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "flatlink/driver.h"
#include "lib/frag/import/import.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/location.h"

// errno of an attempt to read from the database; 0 if it can be read, or is not there at all: then
// it is made. What is there and cannot be read must not be replaced.
static int read_error(const char *path)
{
    const auto installed = getlocation(path);
    const int fd = installed ? open(installed->c_str(), O_RDONLY | O_CLOEXEC) : -1;
    if (fd < 0)
        return errno == ENOENT ? 0 : errno;
    char byte = 0;
    const int error = read(fd, &byte, 1) < 0 ? errno : 0;
    close(fd);
    return error;
}

// Part of the data would take the place of the whole database.
static int refuse_part(const char *path)
{
    std::fprintf(stderr, "flatlink: %s implies more than can be written; it was not changed\n",
                 path);
    return 1;
}

static int refuse(const char *path, int error)
{
    std::fprintf(stderr, "flatlink: cannot read %s: %s; it was not changed\n", path,
                 std::strerror(error));
    return 1;
}

int main(int argc, char **argv)
{
    if (argc != 2)
        return 1;
    const char *path = argv[1];
    if (const int error = read_error(path))
        return refuse(path, error);
    const int scratch_result = read_vpndata(path, false);
    if (const int error = import_read_error())
        return refuse(path, error);
    if (!report_bounds())
        return refuse_part(path);
    const int result = save_vpndata(path);
    return scratch_result == 0 && result == 0 ? 0 : 1;
}
