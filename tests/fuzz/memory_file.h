<<<<<<< HEAD
// A stream of memory, and what was written to it once it is closed.
#pragma once

#include <cstdio>
#include <cstdlib>

struct memory_file {
    memory_file() : stream(open_memstream(&bytes, &size)) {}
    ~memory_file() { std::free(bytes); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    char *bytes = nullptr;
    std::size_t size = 0;
    std::FILE *stream; // whoever uses it closes it
=======
// A file without a name in a folder: what is written to its path can be read back at once.
#pragma once

#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/fuzz/must.h"

class memory_file
{
  public:
    memory_file() : file_(memfd_create("fuzz", MFD_CLOEXEC)) { must(file_ >= 0); }
    ~memory_file() { close(file_); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

    void set_text(std::string_view text)
    {
        must(ftruncate(file_, 0) == 0);
        must(pwrite(file_, text.data(), text.size(), 0) == static_cast<ssize_t>(text.size()));
    }

    std::string text() const
    {
        std::string bytes(static_cast<std::size_t>(lseek(file_, 0, SEEK_END)), '\0');
        must(pread(file_, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size()));
        return bytes;
    }

  private:
    int file_;
>>>>>>> layouts
};
