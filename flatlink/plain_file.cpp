#include "flatlink/plain_file.h"

#include <fcntl.h>
#include <string_view>
#include <sys/file.h>

using namespace flatlink;

static constexpr int OPEN_FLAGS = O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

static fault check_kind(const struct stat &status)
{
    if (S_ISDIR(status.st_mode))
        return {EISDIR};
    return S_ISREG(status.st_mode) ? fault{} : fault{0, "it is not a plain file"};
}

// Fills `status` by the kernel's own resolution of the path, which may refuse to follow a link that
// walk_path would. O_PATH has no side effects on devices and pipes. ENOENT leaves `status` empty.
static fault look_at(const char *path, struct stat &status)
{
    const descriptor found(uninterrupted([&] { return open(path, O_PATH | O_CLOEXEC); }));
    if (!found)
        return {errno == ENOENT ? 0 : errno};
    if (uninterrupted([&] { return fstat(found.get(), &status); }) != 0)
        return {errno};
    return check_kind(status);
}

static descriptor open_place(const path_end &place, int flags)
{
    return descriptor(uninterrupted(
        [&] { return openat(place.folder.get(), place.name.c_str(), flags | OPEN_FLAGS); }));
}

static bool is_write_refused(int error)
{
    return error == EACCES || error == EPERM || error == EROFS || error == ETXTBSY;
}

fault flatlink::open_plain_file(const char *path, plain_file &file)
{
    if (const fault found = walk_path(path, file.place))
        return found;
    struct stat seen {
    };
    if (const fault found = look_at(path, seen))
        return found;
    file.fd = open_place(file.place, O_RDWR);
    if (!file.fd && is_write_refused(errno)) {
        file.write_error = errno;
        file.fd = open_place(file.place, O_RDONLY);
    }
    if (!file.fd)
        return {errno == ENOENT && seen.st_ino == 0 ? 0 : errno};
    if (uninterrupted([&] { return fstat(file.fd.get(), &file.status); }) != 0)
        return {errno};
    // The path may have changed between the two look-ups.
    if (!is_same_file(seen, file.status))
        return {0, "it was replaced at the same moment"};
    return check_kind(file.status);
}

fault flatlink::lock_plain_file(const plain_file &file)
{
    if (!file.fd)
        return {};
    if (uninterrupted([&] { return flock(file.fd.get(), LOCK_EX | LOCK_NB); }) != 0) {
        if (errno == EWOULDBLOCK)
            return {0, "another run is working on it"};
        // A network file system locks only files open for writing. This one will not be written.
        if (errno != EBADF || file.write_error == 0)
            return {errno};
    }
    return check_unchanged(file);
}

static bool has_same_bytes(const struct stat &a, const struct stat &b)
{
    return a.st_size == b.st_size && a.st_mtim.tv_sec == b.st_mtim.tv_sec &&
           a.st_mtim.tv_nsec == b.st_mtim.tv_nsec;
}

static int look_at_place(const path_end &place, struct stat &status)
{
    return uninterrupted([&] {
        return fstatat(place.folder.get(), place.name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
    });
}

fault flatlink::check_unchanged(const plain_file &file)
{
    struct stat now {
    };
    const bool is_there = look_at_place(file.place, now) == 0;
    if (!is_there && errno != ENOENT)
        return {errno};
    const bool is_unchanged =
        is_there == static_cast<bool>(file.fd) &&
        (!is_there || (is_same_file(now, file.status) && has_same_bytes(now, file.status)));
    return is_unchanged ? fault{} : fault{0, "it has just been changed by another program"};
}

fault flatlink::is_file_at(const char *path, const plain_file &file, bool &is_same)
{
    struct stat there {
    };
    if (file.fd) {
        if (uninterrupted([&] { return lstat(path, &there); }) != 0)
            return {errno == ENOENT ? 0 : errno};
        is_same = is_same_file(there, file.status);
        return {};
    }
    const std::string_view text = path;
    const std::size_t slash = text.rfind('/');
    if (text.substr(slash + 1) != file.place.name)
        return {};
    const std::string folder(text.substr(0, slash + 1));
    struct stat here {
    };
    if (uninterrupted([&] { return fstat(file.place.folder.get(), &here); }) != 0 ||
        uninterrupted([&] { return stat(folder.c_str(), &there); }) != 0)
        return {errno};
    is_same = is_same_file(here, there);
    return {};
}
