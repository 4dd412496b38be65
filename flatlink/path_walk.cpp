#include "flatlink/path_walk.h"

#include <climits>
#include <fcntl.h>
#include <string_view>

using namespace flatlink;

static constexpr int MAX_LINKS = 40; // the kernel's limit
static constexpr int FOLDER_FLAGS = O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
static constexpr const char *refused_folders[] = {"/dev", "/proc"};

bool flatlink::is_same_file(const struct stat &a, const struct stat &b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

static fault check_folder(int folder)
{
    struct stat here {
    };
    if (uninterrupted([&] { return fstat(folder, &here); }) != 0)
        return {errno};
    for (const char *refused : refused_folders) {
        struct stat there {
        };
        if (uninterrupted([&] { return stat(refused, &there); }) == 0) {
            if (is_same_file(here, there))
                return {0, "its path leads over /dev or /proc"};
        } else if (errno != ENOENT) {
            return {errno};
        }
    }
    return {};
}

static fault enter(path_end &end, const char *name)
{
    const int base = end.folder ? end.folder.get() : AT_FDCWD;
    descriptor next(uninterrupted([&] { return openat(base, name, FOLDER_FLAGS); }));
    if (!next)
        return {errno};
    end.folder = std::move(next);
    return check_folder(end.folder.get());
}

// Reads the link at `end`. `target` becomes empty when there is no link, or nothing at all.
static fault read_link(const path_end &end, std::string &target)
{
    char text[PATH_MAX];
    const ssize_t length = uninterrupted(
        [&] { return readlinkat(end.folder.get(), end.name.c_str(), text, sizeof text); });
    if (length < 0 && errno != EINVAL && errno != ENOENT)
        return {errno};
    target.assign(text, length < 0 ? 0 : static_cast<std::size_t>(length));
    return {};
}

// Cuts the first name off a path, and the slashes after it.
static std::string take_name(std::string &path, bool &is_last)
{
    const std::size_t slash = path.find('/');
    is_last = slash == std::string::npos;
    std::string name = path.substr(0, slash);
    path.erase(0, path.find_first_not_of('/', slash));
    return name.empty() ? "." : name;
}

static fault enter_start(path_end &end, std::string &path)
{
    const bool is_absolute = path.starts_with('/');
    if (is_absolute)
        path.erase(0, path.find_first_not_of('/'));
    return is_absolute || !end.folder ? enter(end, is_absolute ? "/" : ".") : fault{};
}

fault flatlink::walk_path(const char *path, path_end &end)
{
    std::string rest = path;
    if (rest.empty())
        return {ENOENT};
    if (const fault found = enter_start(end, rest))
        return found;
    for (int links = 0;;) {
        bool is_last = false;
        end.name = take_name(rest, is_last);
        std::string target;
        if (const fault found = read_link(end, target))
            return found;
        if (!target.empty()) {
            if (++links > MAX_LINKS)
                return {ELOOP};
            // The walk goes on with the target, from the folder that holds the link.
            rest = is_last ? target : target + "/" + rest;
            if (const fault found = enter_start(end, rest))
                return found;
        } else if (is_last) {
            return {};
        } else if (const fault found = enter(end, end.name.c_str())) {
            return found;
        }
    }
}
