#include "lib/screen/menu.h"

#include "lib/screen/keys.h"
#include "lib/screen/paint.h"

#include <algorithm>
#include <climits>

using namespace flatlink;

namespace
{

int count_items(const char *const *items)
{
    int count = 0;
    while (items != nullptr && items[count] != nullptr && count < INT_MAX)
        ++count;
    return count;
}

std::int64_t highlighted(const scobj *menu)
{
    return std::int64_t{menu->top} + menu->cursor;
}

const char *item_at(const scobj *menu, std::int64_t index)
{
    return index >= 0 && index < menu->count ? menu->items[index] : nullptr;
}

void paint_row(WINDOW *window, const scobj *menu, std::int64_t row, bool standout)
{
    const std::string_view text = sc_view(item_at(menu, menu->top + row));
    const auto length = static_cast<std::int64_t>(text.size());
    const bool centred = (menu->flags & SC_CENTRE) != 0 && length < menu->width;
    sc_paint(window, {.y = menu->y + row,
                      .x = menu->x,
                      .width = menu->width,
                      .text = text,
                      .lead = centred ? (menu->width - length) / 2 : 0,
                      .standout = standout});
}

// Makes `shown` what `alternative` is; only its place in the form's chain stays.
void become(scobj *shown, const scobj *alternative)
{
    scobj *const next = shown->next;
    scobj *const prev = shown->prev;
    *shown = *alternative;
    shown->next = next;
    shown->prev = prev;
    // A copied menu borrows its slots: the alternative goes on owning what is in them.
    if (shown->destroy == menu_destroy)
        shown->destroy = sc_release;
}

void swap_shown(WINDOW *window, scobj *menu, int highlight)
{
    const std::int64_t item = highlighted(menu);
    if (item < 0 || item >= SC_SLOT_ROOM)
        return;
    for (int list = 0; list < SC_SLOT_LISTS && menu->shown[list] != nullptr; ++list) {
        scobj *shown = menu->shown[list];
        const scobj *alternative = menu->slots[list][item];
        if (alternative == nullptr || alternative == shown)
            continue;
        become(shown, alternative);
        shown->draw(window, shown, list == 0 ? highlight : 0);
    }
}

// Moves the highlight within the rows shown.
void move_highlight(WINDOW *window, scobj *menu, int rows)
{
    paint_row(window, menu, menu->cursor, false);
    menu->cursor += rows;
    paint_row(window, menu, menu->cursor, true);
}

void scroll_list(WINDOW *window, scobj *menu, int items)
{
    menu->top += items;
    menu_draw(window, menu, 1);
}

} // namespace

scobj *sc_newmenu(int y, int x, const char *const *items, int start, const char **result,
                  int height, int width, int mark_all, int centre, sc_callback_op callback,
                  void *callback_arg)
{
    scobj *menu = sc_newobject(y, x);
    menu->flags = (mark_all != 0 ? SC_MARK_ALL : 0) | (centre != 0 ? SC_CENTRE : 0);
    menu->height = height;
    menu->width = width;
    sc_menuresync(menu, items);
    if (start >= height)
        menu->top = static_cast<int>(
            std::clamp<std::int64_t>(std::int64_t{start} - height + 1, 0, INT_MAX));
    menu->result = result;
    menu->draw = menu_draw;
    menu->destroy = menu_destroy;
    menu->onkey = menu_key;
    menu->callback = callback;
    menu->callback_arg = callback_arg;
    return menu;
}

void sc_menuresync(scobj *menu, const char *const *items)
{
    menu->count = count_items(items);
    menu->items = items;
    menu->cursor = 0;
    menu->top = 0;
}

void menu_draw(WINDOW *window, scobj *menu, int highlight)
{
    if ((menu->flags & SC_SWAP) != 0)
        swap_shown(window, menu, highlight);
    // Rows above and below the window are skipped here, so that a menu of any height is painted
    // in the time that the window's rows take.
    const std::int64_t first = std::max<std::int64_t>(0, -std::int64_t{menu->y});
    const std::int64_t end =
        std::min<std::int64_t>(menu->height, std::int64_t{getmaxy(window)} - menu->y);
    for (std::int64_t row = first; row < end; ++row)
        paint_row(window, menu, row, false);
    if (highlight != 0)
        paint_row(window, menu, menu->cursor, true);
}

int menu_key(WINDOW *window, scobj *menu, int key)
{
    if ((menu->flags & SC_MARK_ALL) != 0)
        menu->touched = 1;
    if (menu->result != nullptr)
        *menu->result = item_at(menu, highlighted(menu));
    switch (key) {
    case SC_KEY_ENTER:
        menu->touched = 1;
        return SC_ACTIVATE;
    case SC_KEY_DOWN:
    case ' ':
        menu_movedn(window, menu);
        break;
    case SC_KEY_UP:
        menu_moveup(window, menu);
        break;
    case SC_KEY_BACKTAB:
        return SC_PREVIOUS;
    case SC_KEY_TAB:
        return SC_NEXT;
    default:
        sc_beep();
        return SC_STAY;
    }
    wrefresh(window);
    return SC_STAY;
}

void menu_moveup(WINDOW *window, scobj *menu)
{
    if (menu->cursor == 0 && menu->top == 0)
        sc_beep();
    else if (menu->cursor != 0)
        move_highlight(window, menu, -1);
    else
        scroll_list(window, menu, -1);
}

void menu_movedn(WINDOW *window, scobj *menu)
{
    if (highlighted(menu) + 1 >= menu->count)
        sc_beep();
    else if (menu->cursor + 1 < menu->height)
        move_highlight(window, menu, 1);
    else
        scroll_list(window, menu, 1);
}

void menu_destroy(scobj *menu)
{
    // An alternative may stand for several items, and one that is itself shown belongs to the
    // form's chain: each is released once, by its owner.
    scobj *owned[SC_SLOT_LISTS * SC_SLOT_ROOM] = {};
    int count = 0;
    const auto is_others = [&](const scobj *object) {
        return std::ranges::count(menu->shown, object) + std::ranges::count(owned, object) > 0;
    };
    for (const auto &list : menu->slots)
        for (int item = 0; item < SC_SLOT_ROOM && list[item] != nullptr; ++item)
            if (!is_others(list[item]))
                owned[count++] = list[item];
    for (scobj *object : owned)
        if (object != nullptr && object->destroy != nullptr)
            object->destroy(object);
    sc_release(menu);
}
