// One line on the standard error stream for a user who waits: rewritten while a child works, erased
// before anything else is printed.
#pragma once

#include <chrono>
#include <cstdint>

namespace flatlink
{

// Allows such lines from now on; initially there are none. For a stream that is a terminal.
void allow_progress();

// Erases the line, if one is shown.
void erase_progress();

} // namespace flatlink

class progress_line
{
  public:
    // Tells how far the child has read `input_fd`, whose offset it shares; -1 for none.
    explicit progress_line(int input_fd);
    ~progress_line() { flatlink::erase_progress(); }
    progress_line(const progress_line &) = delete;
    progress_line &operator=(const progress_line &) = delete;

    // Waits until `fd` can be read, and shows the line meanwhile, from the third second on.
    void wait_for(int fd);

  private:
    void show();

    using steady = std::chrono::steady_clock;
    int input_fd_;
    std::int64_t size_ = 0; // of the input in bytes; 0: not known
    steady::time_point begun_ = steady::now();
    steady::time_point next_ = begun_ + std::chrono::seconds(2);
};
