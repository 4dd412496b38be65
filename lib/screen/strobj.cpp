#include "lib/screen/strobj.h"

#include "lib/screen/keys.h"
#include "lib/screen/paint.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cstring>

using namespace flatlink;

namespace
{

constexpr int BACKSPACE = 8;
constexpr int CTRL_U = 21;
constexpr int RUBOUT = 127;
constexpr char MASK = 'X';

bool has_buffer(const scobj *field)
{
    return field->text != nullptr && field->size > 0;
}

// Characters before the terminator; never past the buffer, terminated or not.
int length_of(const scobj *field)
{
    if (!has_buffer(field))
        return 0;
    return static_cast<int>(strnlen(field->text, static_cast<std::size_t>(field->size)));
}

char mask_of(const scobj *field)
{
    return field->draw == strobj_draw_masked ? MASK : '\0';
}

bool at_right_edge(const scobj *field)
{
    return field->cursor + 1 >= field->width;
}

void place_at_end(scobj *field, int length)
{
    field->cursor = std::min(length, std::max(0, field->width));
    field->scroll = length - field->cursor;
}

// Puts the cursor back into the text when others have changed the one without the other.
// Gives the text's length.
int settle(scobj *field)
{
    const int length = length_of(field);
    if (field->cursor < 0 || field->scroll < 0 || field->cursor > std::max(0, field->width) ||
        field->cursor > length - field->scroll)
        place_at_end(field, length);
    return length;
}

void draw(WINDOW *window, scobj *field, bool standout, char mask)
{
    const auto length = static_cast<std::size_t>(settle(field));
    std::string_view shown;
    if (length > 0)
        shown = std::string_view(field->text, length);
    shown.remove_prefix(static_cast<std::size_t>(field->scroll));
    sc_paint(window, {.y = field->y,
                      .x = field->x,
                      .width = field->width,
                      .text = shown,
                      .mask = mask,
                      .standout = standout});
    sc_place_cursor(window, field->y, std::int64_t{field->x} + field->cursor);
}

void redraw(WINDOW *window, scobj *field)
{
    draw(window, field, true, mask_of(field));
}

// Paints one cell, and leaves the cursor after it.
void put_cell(WINDOW *window, const scobj *field, int column, std::string_view text)
{
    sc_paint(window, {.y = field->y,
                      .x = std::int64_t{field->x} + column,
                      .width = 1,
                      .text = text,
                      .mask = mask_of(field),
                      .standout = true});
}

void cut_character(scobj *field, int index, int length)
{
    char *gone = field->text + index;
    std::memmove(gone, gone + 1, static_cast<std::size_t>(length - index - 1));
    field->text[length - 1] = '\0';
}

// At the end of the text there is nothing to move: a backspace takes the last character off.
void erase_at_end(WINDOW *window, scobj *field, int forward, int length)
{
    const bool scrolled = field->scroll > 0;
    if (scrolled && forward != 0 && at_right_edge(field))
        return;
    if (forward == 0)
        field->text[length - 1] = '\0';
    // The text slides instead of the cursor at the right edge, and at column 0, where the
    // cursor has nowhere to go.
    if (scrolled && forward == 0 && (at_right_edge(field) || field->cursor == 0)) {
        --field->scroll;
        redraw(window, field);
        return;
    }
    put_cell(window, field, field->cursor + forward - 1, {});
    if (forward == 0)
        --field->cursor;
    sc_place_cursor(window, field->y, std::int64_t{field->x} + field->cursor);
}

bool is_typed(int key)
{
    return key >= 0 && key <= UCHAR_MAX && (std::isalnum(key) || std::ispunct(key) || key == ' ');
}

} // namespace

scobj *sc_newstrobj(int y, int x, const char *initial, char *buffer, int size, int width,
                    sc_callback_op callback, void *callback_arg)
{
    scobj *field = sc_newobject(y, x);
    field->text = buffer;
    field->size = size;
    field->width = width >= 0 ? width : -std::max(width, -INT_MAX);
    field->draw = width >= 0 ? strobj_draw : strobj_draw_masked;
    field->onkey = strobj_key;
    field->callback = callback;
    field->callback_arg = callback_arg;
    if (has_buffer(field)) {
        std::size_t length = 0;
        if (initial != nullptr) {
            length = strnlen(initial, static_cast<std::size_t>(size) - 1);
            std::memmove(buffer, initial, length);
        }
        buffer[length] = '\0';
    }
    place_at_end(field, length_of(field));
    return field;
}

void strobj_draw(WINDOW *window, scobj *field, int highlight)
{
    draw(window, field, highlight != 0, '\0');
}

void strobj_draw_masked(WINDOW *window, scobj *field, int highlight)
{
    draw(window, field, highlight != 0, MASK);
}

int strobj_key(WINDOW *window, scobj *field, int key)
{
    field->touched = 1;
    switch (key) {
    case SC_KEY_ENTER:
    case SC_KEY_TAB:
        return SC_NEXT;
    case SC_KEY_BACKTAB:
        return SC_PREVIOUS;
    case CTRL_U:
        strobj_clear(window, field);
        break;
    case BACKSPACE: // at the very start of the text it deletes forward
        strobj_erase(window, field, field->cursor == 0 && field->scroll == 0 ? 1 : 0);
        break;
    case SC_KEY_DELETE:
    case RUBOUT:
        strobj_erase(window, field, 1);
        break;
    case SC_KEY_LEFT:
        strobj_left(window, field);
        break;
    case SC_KEY_RIGHT:
        strobj_right(window, field);
        break;
    default:
        if (!is_typed(key)) {
            sc_beep();
            return SC_STAY;
        }
        strobj_insert(window, field, key);
    }
    wrefresh(window);
    return SC_STAY;
}

void strobj_insert(WINDOW *window, scobj *field, int character)
{
    const int length = settle(field);
    if (length >= field->size - 1) {
        sc_beep();
        return;
    }
    const int at = field->cursor + field->scroll;
    char *place = field->text + at;
    std::memmove(place + 1, place, static_cast<std::size_t>(length - at));
    *place = static_cast<char>(character);
    field->text[length + 1] = '\0';
    if (at_right_edge(field)) {
        ++field->scroll;
        redraw(window, field);
        return;
    }
    if (at == length)
        put_cell(window, field, field->cursor, {place, 1});
    ++field->cursor;
    if (at < length)
        redraw(window, field);
}

void strobj_erase(WINDOW *window, scobj *field, int forward)
{
    const int length = settle(field);
    const int at = field->cursor + field->scroll;
    if (forward + at <= 0) {
        sc_beep();
        return;
    }
    if (at == length) {
        erase_at_end(window, field, forward, length);
        return;
    }
    cut_character(field, at + forward - 1, length);
    if (forward == 0 && field->cursor > 0)
        --field->cursor;
    redraw(window, field);
}

void strobj_clear(WINDOW *window, scobj *field)
{
    if (has_buffer(field))
        field->text[0] = '\0';
    field->cursor = 0;
    field->scroll = 0;
    redraw(window, field);
}

void strobj_left(WINDOW *window, scobj *field)
{
    settle(field);
    if (field->cursor + field->scroll == 0) {
        sc_beep();
    } else if (field->scroll == 0) {
        --field->cursor;
        sc_place_cursor(window, field->y, std::int64_t{field->x} + field->cursor);
    } else {
        --field->scroll;
        redraw(window, field);
    }
}

void strobj_right(WINDOW *window, scobj *field)
{
    const int length = settle(field);
    if (field->cursor + field->scroll == length) {
        sc_beep();
    } else if (!at_right_edge(field)) {
        ++field->cursor;
        sc_place_cursor(window, field->y, std::int64_t{field->x} + field->cursor);
    } else {
        ++field->scroll;
        redraw(window, field);
    }
}
