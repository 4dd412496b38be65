#include "lib/screen/paint.h"

#include <algorithm>
#include <cctype>

using namespace flatlink;

// The character of the cell `index` of a row.
static chtype cell_of(const sc_row &row, std::int64_t index)
{
    const std::int64_t at = index - row.lead;
    if (at < 0 || at >= static_cast<std::int64_t>(row.text.size()))
        return ' ';
    if (row.mask != 0)
        return static_cast<unsigned char>(row.mask);
    const auto character = static_cast<unsigned char>(row.text[static_cast<std::size_t>(at)]);
    return std::isprint(character) != 0 ? character : '?';
}

void flatlink::sc_paint(WINDOW *window, const sc_row &row)
{
    const std::int64_t first = std::max<std::int64_t>(0, -row.x);
    const std::int64_t end = std::min(row.width, getmaxx(window) - row.x);
    if (row.standout)
        wstandout(window);
    if (row.y >= 0 && row.y < getmaxy(window) && first < end &&
        wmove(window, static_cast<int>(row.y), static_cast<int>(row.x + first)) != ERR)
        for (std::int64_t index = first; index < end; ++index)
            waddch(window, cell_of(row, index));
    sc_place_cursor(window, row.y, row.x + std::max<std::int64_t>(0, row.width));
    if (row.standout)
        wstandend(window);
}

void flatlink::sc_place_cursor(WINDOW *window, std::int64_t y, std::int64_t x)
{
    const auto nearest = [](std::int64_t place, int count) {
        return static_cast<int>(std::clamp<std::int64_t>(place, 0, std::max(0, count - 1)));
    };
    wmove(window, nearest(y, getmaxy(window)), nearest(x, getmaxx(window)));
}
