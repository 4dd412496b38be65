// The lines of a file of untrusted length, in pieces of bounded size, in one fixed buffer.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace flatlink
{

class line_pieces
{
  public:
    // Longest line with its newline; a longer one comes in several pieces.
    static constexpr std::size_t PIECE_MAX = 1023;

    // Takes over `fd` and closes it on destruction; -1 counts as a failed read.
    explicit line_pieces(int fd);
    ~line_pieces();
    line_pieces(const line_pieces &) = delete;
    line_pieces &operator=(const line_pieces &) = delete;

    // Stores the next piece, with its newline if it has one; the view lasts until the next call.
    // False at the end of the file and when a read failed.
    bool next(std::string_view &piece);

    // Skips the rest of a line and its newline.
    void skip_line();

    // True when a read failed; errno says why until the next system call.
    bool failed() const { return failed_; }

  private:
    void fill();

    int fd_;
    bool failed_;
    bool at_end_ = false;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::array<char, 16384> buffer_; // valid from begin_ to end_
};

} // namespace flatlink
