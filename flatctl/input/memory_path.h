// A text as a file that has a path and lies in memory, for a library that opens its input by path.
#pragma once

#include "lib/ulib/descriptor.h"

#include <string>
#include <string_view>
#include <sys/mman.h>

namespace flatlink
{

class memory_path
{
  public:
    explicit memory_path(std::string_view text) : file_(memfd_create("table", MFD_CLOEXEC))
    {
        while (file_ && !text.empty()) {
            const ssize_t written = write(file_.get(), text.data(), text.size());
            if (written <= 0)
                break; // out of memory: the path gives what was written
            text.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    std::string path() const { return PREFIX + std::to_string(file_.get()); }

    static constexpr const char *PREFIX = "/proc/self/fd/";

  private:
    descriptor file_;
};

// A message without such a path, which tells its reader nothing, and the blank after it.
inline std::string without_memory_path(std::string text)
{
    if (const std::size_t at = text.find(memory_path::PREFIX); at != std::string::npos)
        text.erase(at, text.find(' ', at) + 1 - at);
    return text;
}

} // namespace flatlink
