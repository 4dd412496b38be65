#include "flatlink/mapped_output.h"

#include "lib/ulib/descriptor.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>

using namespace flatlink;

// Powers of two, many pages each: pieces double until the file grows once in thousands of lines.
static constexpr std::size_t FIRST_PIECE = std::size_t{1} << 16;
static constexpr std::size_t LARGEST_PIECE = std::size_t{1} << 22;

// Fills a new piece of the file with NUL bytes. Its pages are then in memory, many to a folio, and
// the first store into each costs a quarter of what it costs on a page that is not there. Errors
// don't matter: the piece has its space already.
static void touch_pages(int fd, off_t offset, std::size_t size)
{
    static constexpr std::array<char, FIRST_PIECE> zeros{};
    const iovec part{const_cast<char *>(zeros.data()), zeros.size()};
    std::array<iovec, LARGEST_PIECE / FIRST_PIECE> parts;
    parts.fill(part);
    (void)pwritev(fd, parts.data(), static_cast<int>(size / FIRST_PIECE), offset);
}

void mapped_output::start(int fd)
{
    *this = {};
    fd_ = fd;
    is_mapping_ = true;
}

void mapped_output::unmap()
{
    if (piece_ != nullptr)
        munmap(piece_, piece_size_);
    piece_ = nullptr;
}

// Maps another piece when the file is full. On any failure, such as a nearly full disk, falls back
// to plain writes, which use the last free block and report the error.
void mapped_output::grow()
{
    unmap();
    piece_size_ = std::clamp(allocated_, FIRST_PIECE, LARGEST_PIECE);
    const auto end = static_cast<off_t>(allocated_);
    const auto size = static_cast<off_t>(piece_size_);
    is_mapping_ = uninterrupted([&] { return fallocate(fd_, 0, end, size); }) == 0;
    if (!is_mapping_)
        return;
    touch_pages(fd_, end, piece_size_);
    void *piece = mmap(nullptr, piece_size_, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, end);
    is_mapping_ = piece != MAP_FAILED;
    if (is_mapping_) {
        piece_ = static_cast<char *>(piece);
        allocated_ += piece_size_;
    } else {
        (void)uninterrupted([&] { return ftruncate(fd_, end); }); // plain writes overwrite it
    }
}

int mapped_output::write_through(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = uninterrupted(
            [&] { return pwrite(fd_, bytes.data(), bytes.size(), static_cast<off_t>(length_)); });
        if (count < 0)
            return errno;
        length_ += static_cast<std::size_t>(count);
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return 0;
}

int mapped_output::write(std::string_view bytes)
{
    while (!bytes.empty()) {
        if (is_mapping_ && length_ == allocated_)
            grow();
        if (!is_mapping_)
            return write_through(bytes);
        const std::size_t size = std::min(bytes.size(), allocated_ - length_);
        std::memcpy(piece_ + (piece_size_ - (allocated_ - length_)), bytes.data(), size);
        std::atomic_signal_fence(std::memory_order_release); // a handler may call cut() here
        length_ += size;
        bytes.remove_prefix(size);
    }
    return 0;
}

bool mapped_output::append(std::initializer_list<std::string_view> parts)
{
    std::size_t size = 0;
    for (const std::string_view part : parts)
        size += part.size();
    if (!is_mapping_ || size > allocated_ - length_)
        return false;
    char *to = piece_ + (piece_size_ - (allocated_ - length_));
    for (const std::string_view part : parts)
        to = std::copy(part.begin(), part.end(), to);
    std::atomic_signal_fence(std::memory_order_release); // a handler may call cut() here
    length_ += size;
    return true;
}

void mapped_output::cut()
{
    if (is_mapping_)
        (void)uninterrupted([&] { return ftruncate(fd_, static_cast<off_t>(length_)); });
    is_mapping_ = false; // the mapping now lies past the end of the file
}

int mapped_output::finish()
{
    const bool is_longer = piece_ != nullptr;
    unmap();
    const auto length = static_cast<off_t>(length_);
    return is_longer && uninterrupted([&] { return ftruncate(fd_, length); }) != 0 ? errno : 0;
}
