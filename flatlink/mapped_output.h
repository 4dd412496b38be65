// A file that is written at its end without a system call a piece: pieces are copied into a shared
// mapping of space that was allocated before. The system has them at once, also when the process is
// killed the next moment; a full disk shows where the file grows, as the error of a write.
#pragma once

#include <cstddef>
#include <string_view>

class mapped_output
{
  public:
    // Takes an empty file, open for reading and writing, which stays the caller's.
    void start(int fd);

    // Appends all bytes. Returns 0, or errno when the end of them could not be written.
    [[nodiscard]] int write(std::string_view bytes);

    // Cuts the file to what was written: until then it may end in NUL bytes. What is written later
    // costs a call each. Safe in a signal handler that ends the process.
    void cut();

    // Ends the mapping and cuts the file. Returns 0, or errno.
    [[nodiscard]] int finish();

  private:
    void grow();
    void unmap();
    int write_through(std::string_view bytes);

    int fd_ = -1;
    bool is_mapping_ = false;    // false: each write is a call, as no space can be had in advance
    char *piece_ = nullptr;      // the mapped end of the file
    std::size_t piece_size_ = 0; // bytes of it
    std::size_t length_ = 0;     // bytes written
    std::size_t allocated_ = 0;  // length of the file
};
