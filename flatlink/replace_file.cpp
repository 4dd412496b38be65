#include "flatlink/replace_file.h"

#include "flatlink/file_attributes.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <string>

using namespace flatlink;

static constexpr mode_t OWNER_ONLY = 0600;
static constexpr mode_t BY_UMASK = 0666;
static constexpr std::size_t MAX_NAME_PART = 200; // a name has at most 255 bytes with our suffix

namespace
{

// The new file next to the old one; removed unless it was renamed. A leftover of a killed run is
// removed and created again.
struct new_file {
    const path_end &place;
    std::string name = "." + place.name.substr(0, MAX_NAME_PART) + ".flatlink-new";
    descriptor fd;
    bool is_there = false;

    explicit new_file(const path_end &where) : place(where) {}
    int remove() const
    {
        return uninterrupted([&] { return unlinkat(place.folder.get(), name.c_str(), 0); });
    }
    ~new_file()
    {
        if (is_there)
            (void)remove();
    }
};

} // namespace

static int created(new_file &file, mode_t mode)
{
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    return uninterrupted(
        [&] { return openat(file.place.folder.get(), file.name.c_str(), flags, mode); });
}

static fault create(new_file &file, mode_t mode)
{
    int fd = created(file, mode);
    if (fd < 0 && errno == EEXIST && file.remove() == 0)
        fd = created(file, mode);
    file.is_there = fd >= 0;
    file.fd = descriptor(fd);
    return {fd < 0 ? errno : 0};
}

static fault write_all(int fd, std::string_view content, std::size_t &written)
{
    for (written = 0; written < content.size();) {
        const std::string_view rest = content.substr(written);
        const ssize_t count = uninterrupted(
            [&] { return pwrite(fd, rest.data(), rest.size(), static_cast<off_t>(written)); });
        if (count < 0)
            return {errno};
        written += static_cast<std::size_t>(count);
    }
    return {};
}

static fault flush(int fd)
{
    return {uninterrupted([&] { return fsync(fd); }) != 0 ? errno : 0};
}

static fault fill(new_file &file, const plain_file &old, std::string_view content)
{
    std::size_t written = 0;
    if (const fault found = write_all(file.fd.get(), content, written))
        return found;
    if (old.fd)
        if (const fault found = copy_attributes(old.fd.get(), old.status, file.fd.get()))
            return found;
    if (const fault found = flush(file.fd.get()))
        return found;
    return {file.fd.close() != 0 ? errno : 0};
}

// A folder that may be written but not read can't be opened for fsync; flush_folder then flushes
// all file systems.
static fault open_for_flush(const path_end &place, descriptor &folder)
{
    folder = descriptor(uninterrupted(
        [&] { return openat(place.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
    return {!folder && errno != EACCES ? errno : 0};
}

static fault flush_folder(const descriptor &folder)
{
    if (!folder) {
        sync();
        return {};
    }
    const fault found = flush(folder.get());
    return found.error == EINVAL ? fault{} : found; // the file system can't flush a folder
}

static fault rename_over(new_file &file)
{
    const int folder = file.place.folder.get();
    if (uninterrupted([&] {
            return renameat(folder, file.name.c_str(), folder, file.place.name.c_str());
        }) != 0)
        return {errno};
    file.is_there = false;
    return {};
}

static fault replace_by_new_one(const plain_file &old, std::string_view content, replacement &done)
{
    new_file file(old.place);
    descriptor folder;
    if (const fault found = create(file, old.fd ? OWNER_ONLY : BY_UMASK))
        return found;
    if (const fault found = fill(file, old, content))
        return found;
    // Opened before the rename, which a failure afterwards could not undo.
    if (const fault found = open_for_flush(old.place, folder))
        return found;
    // As late as possible: another program may have changed the file during the run.
    if (const fault found = check_unchanged(old))
        return found;
    if (const fault found = rename_over(file))
        return found;
    done = replacement::COMPLETE;
    return flush_folder(folder);
}

// Reserves space before the first write, so that a full disk shows while the old content is intact.
static fault make_room(const plain_file &file, std::size_t size)
{
    const auto length = static_cast<off_t>(size);
    if (length <= file.status.st_size)
        return {};
    const int result =
        uninterrupted([&] { return fallocate(file.fd.get(), FALLOC_FL_KEEP_SIZE, 0, length); });
    return {result != 0 && errno != EOPNOTSUPP && errno != ENOSYS ? errno : 0};
}

static fault write_in_place(const plain_file &file, std::string_view content, replacement &done)
{
    if (const fault found = check_unchanged(file))
        return found;
    if (const fault found = make_room(file, content.size()))
        return found;
    const int fd = file.fd.get();
    std::size_t written = 0;
    const fault found = write_all(fd, content, written);
    if (written > 0)
        done = replacement::DAMAGED;
    if (found)
        return found;
    const auto length = static_cast<off_t>(content.size());
    if (length < file.status.st_size && uninterrupted([&] { return ftruncate(fd, length); }) != 0)
        return {errno};
    done = replacement::COMPLETE;
    return flush(fd);
}

// Only permission-like errors allow the fallback to writing in place: on a full or failing disk
// that would fail too, and lose the old content.
static bool is_disallowed(const fault &found)
{
    const int errors[] = {EACCES, EPERM, EROFS, EBUSY, EXDEV, ENOTSUP, EINVAL};
    return std::find(std::begin(errors), std::end(errors), found.error) != std::end(errors);
}

fault flatlink::replace_file(const plain_file &file, std::string_view content, fault (*save_copy)(),
                             replacement &done)
{
    done = replacement::NONE;
    if (file.write_error != 0)
        return {file.write_error};
    const fault found = replace_by_new_one(file, content, done);
    if (done != replacement::NONE || !file.fd || !is_disallowed(found))
        return found;
    if (const fault not_saved = save_copy())
        return not_saved;
    return write_in_place(file, content, done);
}
