// The lines of a file of untrusted length, in pieces of bounded size, in one fixed buffer.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

class line_pieces
{
  public:
    // A line and its newline; what is longer comes in several pieces.
    static constexpr std::size_t PIECE_MAX = 1023;

    // Takes over `fd`, and closes it in the end; -1 counts as a read that failed.
    explicit line_pieces(int fd);
    ~line_pieces();
    line_pieces(const line_pieces &) = delete;
    line_pieces &operator=(const line_pieces &) = delete;

    // Gives the next piece, up to and with its newline if it has one; the view lasts until the
    // next call. False at the end of the file and when a read failed.
    bool next(std::string_view &piece);

    // Passes over the rest of a line, up to and with its newline.
    void skip_line();

    // A read failed; errno tells why until the next call of the system.
    bool failed() const { return failed_; }

  private:
    void fill();

    int fd_;
    bool failed_;
    bool at_end_ = false;
    std::size_t begin_ = 0;
    std::size_t end_ = 0;
    std::array<char, 16384> buffer_; // only begin_ to end_ is ever read
};
