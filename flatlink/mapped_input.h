// A part of a file, read through a mapping: it takes no memory besides the page cache.
#pragma once

#include "flatlink/fault.h"

#include <cstddef>
#include <string_view>

namespace flatlink
{

class mapped_input
{
  public:
    mapped_input() = default;
    mapped_input(const mapped_input &) = delete;
    mapped_input &operator=(const mapped_input &) = delete;
    ~mapped_input();

    // Maps the bytes from `begin` up to `end`, which must not lie after the end of the file. The
    // caller may close `fd` afterwards. At most once.
    fault map(int fd, std::size_t begin, std::size_t end);

    // The bytes; valid as long as this object. If the file is cut meanwhile, system calls on the
    // lost bytes fail with EFAULT, and any other access ends the process.
    std::string_view text() const { return text_; }

  private:
    void *pages_ = nullptr; // page by page, so it may begin before the text
    std::size_t size_ = 0;
    std::string_view text_;
};

} // namespace flatlink
