// How the objects put characters into a window: cut at its edges, and never a byte that the
// terminal could take as a command. For the kinds of objects, not for applications.
#pragma once

#include <cstdint>
#include <curses.h>
#include <string_view>

// One row of cells. Cells before and after the text are blank; a text that is too long is cut.
struct sc_row {
    std::int64_t y = 0, x = 0; // may lie outside the window
    std::int64_t width = 0;    // cells painted; none when it is not above 0
    std::string_view text;
    std::int64_t lead = 0; // blanks before the text
    char mask = 0;         // other than 0: stands for each character of the text
    bool standout = false;
};

namespace flatlink
{

// A view of a C text; the empty view for null.
inline std::string_view sc_view(const char *text)
{
    return text == nullptr ? std::string_view() : std::string_view(text);
}

// Paints the cells of `row` that lie in the window, and leaves the cursor after the last one.
void sc_paint(WINDOW *window, const sc_row &row);

// Places the cursor at (y, x), or at the nearest place that the window has.
void sc_place_cursor(WINDOW *window, std::int64_t y, std::int64_t x);

} // namespace flatlink
