#include "flatctl/forms/kept_copy.h"

#include "flatctl/common/text_write.h"
#include "flatlink/plain_file.h"
#include "flatlink/replace_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

using namespace flatlink;

static constexpr mode_t OWNER_ONLY = 0600;
static constexpr std::string_view STAMP = ".00000000-000000~"; // a '0' for each digit

static std::string errno_text(const std::string &name)
{
    return shown(name) + ": " + std::strerror(errno);
}

static std::string stamp_of(std::time_t when)
{
    std::tm parts{};
    std::array<char, 32> text{};
    (void)gmtime_r(&when, &parts);
    (void)std::strftime(text.data(), text.size(), ".%Y%m%d-%H%M%S~", &parts);
    return text.data();
}

static bool is_stamp(std::string_view text)
{
    return std::ranges::equal(text, STAMP, [](char c, char wanted) {
        return wanted == '0' ? c >= '0' && c <= '9' : c == wanted;
    });
}

// Makes a file of a name that nothing has; a second copy within a second takes the next one.
static descriptor make_copy(const plain_file &file, std::string &name)
{
    constexpr int ATTEMPTS = 100;
    const std::time_t now = std::time(nullptr);
    descriptor copy;
    for (int i = 0; i < ATTEMPTS && !copy; ++i) {
        name = file.place.name + stamp_of(now + i);
        copy = descriptor(openat(file.place.folder.get(), name.c_str(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, OWNER_ONLY));
        if (!copy && errno != EEXIST)
            break;
    }
    return copy;
}

// Copies all bytes. False with errno.
static bool copy_bytes(int from, int to)
{
    std::array<char, 65536> block{};
    off_t offset = 0;
    for (;;) {
        const ssize_t got =
            uninterrupted([&] { return pread(from, block.data(), block.size(), offset); });
        if (got <= 0)
            return got == 0;
        offset += got;
        for (ssize_t done = 0; done < got;) {
            const auto left = static_cast<std::size_t>(got - done);
            const ssize_t put = uninterrupted([&] { return write(to, block.data() + done, left); });
            if (put < 0)
                return false;
            done += put;
        }
    }
}

std::string flatlink::keep_copy(const plain_file &file, std::string &kept)
{
    std::string name;
    descriptor copy = make_copy(file, name);
    if (!copy)
        return errno_text(name);
    if (copy_bytes(file.fd.get(), copy.get()) && fsync(copy.get()) == 0 && copy.close() == 0) {
        kept = name;
        return {};
    }
    std::string error = errno_text(name);
    (void)unlinkat(file.place.folder.get(), name.c_str(), 0); // half a copy is none
    return error;
}

static bool holds_content(const plain_file &file, std::string_view content)
{
    const descriptor again(openat(file.place.folder.get(), file.place.name.c_str(),
                                  O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    std::array<char, 65536> block{};
    for (;;) {
        const ssize_t got =
            uninterrupted([&] { return read(again.get(), block.data(), block.size()); });
        if (got <= 0)
            return got == 0 && content.empty();
        const std::string_view part(block.data(), static_cast<std::size_t>(got));
        if (!content.starts_with(part))
            return false;
        content.remove_prefix(part.size());
    }
}

std::string flatlink::replace_and_compare(const plain_file &file, std::string_view content)
{
    replacement done = replacement::NONE;
    // Should the file have to be written in place, its content can be made once more.
    const auto no_copy = []() -> fault { return {}; };
    const std::string name = shown(file.place.name);
    if (const fault found = replace_file(file, content, no_copy, done))
        return name + ": " + found.words() +
               (done == replacement::NONE      ? "; it was not changed"
                : done == replacement::DAMAGED ? "; it was written in part"
                                               : "; it may not be on the disk yet");
    return holds_content(file, content) ? "" : name + ": other bytes are in it than were written";
}

std::string flatlink::newest_copy(const plain_file &file)
{
    std::string newest;
    const std::unique_ptr<DIR, int (*)(DIR *)> folder(
        fdopendir(openat(file.place.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)),
        closedir);
    while (const dirent *entry = folder == nullptr ? nullptr : readdir(folder.get())) {
        const std::string name = entry->d_name;
        if (name.starts_with(file.place.name) && name > newest &&
            is_stamp(std::string_view(name).substr(file.place.name.size())))
            newest = name;
    }
    return newest;
}
