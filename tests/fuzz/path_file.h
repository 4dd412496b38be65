// A file without a name in a folder: what is written to its path can be read back at once.
#pragma once

#include "tests/fuzz/must.h"

#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

class path_file
{
  public:
    path_file() : file_(memfd_create("fuzz", MFD_CLOEXEC))
    {
        must(file_ >= 0, "no file in memory");
    }
    ~path_file() { close(file_); }
    path_file(const path_file &) = delete;
    path_file &operator=(const path_file &) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

    void set_text(std::string_view text)
    {
        must(ftruncate(file_, 0) == 0, "the file cannot be emptied");
        must(pwrite(file_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()),
             "the file cannot be written");
    }

    std::string text() const
    {
        std::string bytes(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
        must(pread(file_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()),
             "the file cannot be read");
        return bytes;
    }

  private:
    int file_;
};
