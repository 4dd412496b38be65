#include "flatlink/file_attributes.h"

#include "lib/ulib/descriptor.h"

#include <algorithm>
#include <linux/limits.h>
#include <string>
#include <sys/xattr.h>
#include <vector>

using namespace flatlink;

static constexpr mode_t MODE_BITS = 07777;

static fault read_names(int fd, std::vector<std::string> &names)
{
    std::vector<char> bytes(XATTR_LIST_MAX);
    const ssize_t size = uninterrupted([&] { return flistxattr(fd, bytes.data(), bytes.size()); });
    if (size < 0)
        return {errno == ENOTSUP ? 0 : errno};
    for (const char *name = bytes.data(); name < bytes.data() + size;
         name += names.back().size() + 1)
        names.emplace_back(name);
    return {};
}

static fault read_value(int fd, const std::string &name, std::vector<char> &value)
{
    value.resize(XATTR_SIZE_MAX);
    const ssize_t size =
        uninterrupted([&] { return fgetxattr(fd, name.c_str(), value.data(), value.size()); });
    value.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
    return {size < 0 ? errno : 0};
}

// Skips a value that is already right: setting some, such as a security label that the new file got
// at creation, needs privileges.
static fault copy_value(int from, int to, const std::string &name, bool is_there)
{
    std::vector<char> value, present;
    if (const fault found = read_value(from, name, value))
        return found;
    if (is_there && !read_value(to, name, present) && present == value)
        return {};
    const int result =
        uninterrupted([&] { return fsetxattr(to, name.c_str(), value.data(), value.size(), 0); });
    return {result != 0 ? errno : 0};
}

static fault copy_extended(int from, int to)
{
    std::vector<std::string> wanted, present;
    if (const fault found = read_names(from, wanted))
        return found;
    if (const fault found = read_names(to, present))
        return found;
    const auto holds = [](const std::vector<std::string> &names, const std::string &name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };
    for (const std::string &name : present) // e.g. inherited from the folder's default access list
        if (!holds(wanted, name) &&
            uninterrupted([&] { return fremovexattr(to, name.c_str()); }) != 0)
            return {errno};
    for (const std::string &name : wanted)
        if (const fault found = copy_value(from, to, name, holds(present, name)))
            return found;
    return {};
}

fault flatlink::copy_attributes(int from, const struct stat &status, int to)
{
    struct stat now {
    };
    if (uninterrupted([&] { return fstat(to, &now); }) != 0)
        return {errno};
    const bool is_owner_right = now.st_uid == status.st_uid && now.st_gid == status.st_gid;
    if (!is_owner_right &&
        uninterrupted([&] { return fchown(to, status.st_uid, status.st_gid); }) != 0)
        return {errno};
    if (const fault found = copy_extended(from, to))
        return found;
    const int result = uninterrupted([&] { return fchmod(to, status.st_mode & MODE_BITS); });
    return {result != 0 ? errno : 0};
}
