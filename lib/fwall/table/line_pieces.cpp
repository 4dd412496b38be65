#include "lib/fwall/table/line_pieces.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

using namespace flatlink;

line_pieces::line_pieces(int fd) : fd_(fd), failed_(fd < 0) {}

line_pieces::~line_pieces()
{
    if (fd_ >= 0)
        (void)close(fd_); // only read from: nothing can be lost
}

// Reads until the buffer holds at least one whole piece, or the file ends.
void line_pieces::fill()
{
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    begin_ = 0;
    while (end_ < PIECE_MAX && !at_end_ && !failed_) {
        const ssize_t got = read(fd_, buffer_.data() + end_, buffer_.size() - end_);
        if (got > 0)
            end_ += static_cast<std::size_t>(got);
        else if (got == 0)
            at_end_ = true;
        else
            failed_ = errno != EINTR;
    }
}

bool line_pieces::next(std::string_view &piece)
{
    if (end_ - begin_ < PIECE_MAX && !at_end_)
        fill();
    if (failed_ || begin_ == end_)
        return false;
    const std::string_view ahead(buffer_.data() + begin_, std::min(end_ - begin_, PIECE_MAX));
    piece = ahead.substr(0, ahead.find('\n'));
    if (piece.size() < ahead.size())
        piece = ahead.substr(0, piece.size() + 1);
    begin_ += piece.size();
    return true;
}

void line_pieces::skip_line()
{
    std::string_view piece;
    while (next(piece) && !piece.ends_with('\n')) {
    }
}
