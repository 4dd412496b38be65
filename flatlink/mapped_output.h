// An append-only file that is written without a system call per piece: pieces are copied into a
// shared mapping of preallocated space. They reach the kernel at once and survive a kill of the
// process; a full disk shows up when the file grows, as an error of write().
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

namespace flatlink
{

class mapped_output
{
  public:
    // Begins to write to `fd`, an empty file open for reading and writing. `fd` stays the caller's.
    void start(int fd);

    // Appends all bytes. Returns 0, or errno when not all of them could be written.
    [[nodiscard]] int write(std::string_view bytes);

    // Appends all parts if the mapping has room for them; false: nothing was written.
    [[nodiscard]] bool append(std::initializer_list<std::string_view> parts);

    // Whether writes go without a system call.
    bool is_mapping() const { return is_mapping_; }

    // Truncates the file to the bytes written; before that it may end in NUL bytes. Each later
    // write costs a system call. Safe in a signal handler that ends the process.
    void cut();

    // Ends the mapping and cuts the file. Returns 0, or errno.
    [[nodiscard]] int finish();

    std::size_t length() const { return length_; } // bytes written

  private:
    void grow();
    void unmap();
    int write_through(std::string_view bytes);

    int fd_ = -1;
    bool is_mapping_ = false;    // false: no space could be preallocated, each write is a call
    char *piece_ = nullptr;      // the mapped end of the file
    std::size_t piece_size_ = 0; // bytes of the mapping
    std::size_t length_ = 0;     // bytes written
    std::size_t allocated_ = 0;  // length of the file
};

} // namespace flatlink
