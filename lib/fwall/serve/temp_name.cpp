#include "lib/fwall/serve/temp_name.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

using namespace flatlink;

// Replaces the X's at the end of `name`; returns the first replaced character, or the end.
static char *put_number(char *name)
{
    char *first = name + std::strlen(name);
    for (pid_t left = getpid(); first > name && first[-1] == 'X'; left /= 10)
        *--first = static_cast<char>('0' + left % 10);
    return first;
}

// True when the directory part of the name exists, or there is none; false with errno.
static bool has_directory(const char *name, const char *first)
{
    const std::string_view front(name, static_cast<std::size_t>(first - name));
    const std::size_t slash = front.rfind('/');
    if (slash == std::string_view::npos || slash == 0)
        return true;
    struct stat status;
    if (stat(std::string(front.substr(0, slash)).c_str(), &status) != 0)
        return false;
    if (S_ISDIR(status.st_mode))
        return true;
    errno = ENOTDIR;
    return false;
}

// Advances to the next name; false with EEXIST after the last.
static bool next_name(char *place)
{
    for (; *place == 'z'; ++place)
        *place = 'a';
    if (*place == '\0') {
        errno = EEXIST;
        return false;
    }
    const bool digit = *place >= '0' && *place <= '9';
    *place = digit ? 'a' : static_cast<char>(*place + 1);
    return true;
}

// 0 when the name is free, or -1 with errno, EEXIST for a name that is taken. Even a dangling link
// takes the name.
static int look_free(const char *name)
{
    struct stat status;
    if (lstat(name, &status) != 0)
        return errno == ENOENT ? 0 : -1;
    errno = EEXIST;
    return -1;
}

static int make_file(const char *name)
{
    constexpr mode_t OWNER_ONLY = 0600;
    return open(name, O_RDWR | O_CREAT | O_EXCL, OWNER_ONLY);
}

// Tries name after name. Returns the result of the first `attempt` that succeeded, or -1 with
// errno.
static int find_name(char *name, int (*attempt)(const char *name))
{
    char *first = put_number(name);
    if (!has_directory(name, first))
        return -1;
    for (;;) {
        const int result = attempt(name);
        if (result >= 0 || errno != EEXIST || !next_name(first))
            return result;
    }
}

char *flatlink::make_temp_name(char *name)
{
    return find_name(name, look_free) == 0 ? name : nullptr;
}

int flatlink::make_temp_file(char *name)
{
    return find_name(name, make_file);
}
