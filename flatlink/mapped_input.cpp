#include "flatlink/mapped_input.h"

#include <cerrno>
#include <sys/mman.h>
#include <unistd.h>

using namespace flatlink;

fault mapped_input::map(int fd, std::size_t begin, std::size_t end)
{
    if (begin == end)
        return {};
    const auto page_size = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t before = begin % page_size;
    const std::size_t size = end - begin + before;
    // Populated, since a fault for every few pages would cost as much as the copy of their bytes.
    void *pages = mmap(nullptr, size, PROT_READ, MAP_PRIVATE | MAP_POPULATE, fd,
                       static_cast<off_t>(begin - before));
    if (pages == MAP_FAILED)
        return {errno};
    pages_ = pages;
    size_ = size;
    text_ = {static_cast<const char *>(pages) + before, end - begin};
    return {};
}

mapped_input::~mapped_input()
{
    if (pages_ != nullptr)
        munmap(pages_, size_);
}
