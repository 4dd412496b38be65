// Plays any bytes as keys on a form made from the first of them, in windows smaller and larger
// than the form, and looks before every key whether cursor, scroll, text and screen agree.
#include "lib/screen/form.h"
#include "lib/screen/keys.h"
#include "lib/screen/label.h"
#include "lib/screen/menu.h"
#include "lib/screen/strobj.h"
#include "tests/fuzz/input_bytes.h"
#include "tests/screen/terminal.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

using namespace flatlink;

namespace
{

constexpr std::size_t KEYS_MAX = 4096; // they, and a bell for each, fit a pipe
constexpr int ROWS_EACH = 3;           // no two objects overlap

void must(bool holds, const char *what)
{
    if (!holds)
        throw std::logic_error(what);
}

const char *const item_texts[] = {"one",   "two\tbell\a", "a very long item that is cut",
                                  "",      "five",        "\x1b[31mred",
                                  "seven", nullptr};

struct form {
    scobj *head = nullptr;
    const scobj *focus = nullptr;                 // null while it is not known
    const scobj *swapped = nullptr;               // its highlight may be its menu's
    std::vector<std::unique_ptr<char[]>> buffers; // exactly their size: a byte too far is seen
    int callbacks = 0;
};

form *played = nullptr;
WINDOW *played_in = nullptr;

// What the terminal shows of one row of an object.
void check_row(const scobj *object, int y, const std::string &text, bool is_marked_in_focus)
{
    const bool marked = object == played->focus && is_marked_in_focus;
    const bool are_marks_known = played->focus != nullptr && object != played->swapped;
    int x = object->x;
    for (const char character : text) {
        const int column = x++;
        if (y < 0 || y >= getmaxy(played_in) || column < 0 || column >= getmaxx(played_in))
            continue;
        const chtype cell = mvwinch(curscr, y, column);
        const auto byte = static_cast<unsigned char>(character);
        must((cell & A_CHARTEXT) == (std::isprint(byte) != 0 ? byte : chtype{'?'}),
             "a cell shows something else than its object");
        must(!are_marks_known || ((cell & A_STANDOUT) != 0) == marked, "standout is not the focus");
    }
}

void check_field(const scobj *field)
{
    const auto room = static_cast<std::size_t>(field->size);
    const std::size_t length = strnlen(field->text, room);
    must(length < room, "the text has lost its terminator");
    must(field->cursor >= 0 && field->cursor <= field->width, "the cursor is outside its field");
    must(field->scroll >= 0 && static_cast<std::size_t>(field->cursor + field->scroll) <= length,
         "the cursor is behind the text");
    std::string shown = field->text + field->scroll;
    if (field->draw == strobj_draw_masked)
        shown.assign(shown.size(), 'X');
    shown.resize(static_cast<std::size_t>(field->width), ' ');
    check_row(field, field->y, shown, true);
}

void check_menu(const scobj *menu)
{
    must(menu->cursor >= 0 && menu->cursor < std::max(1, menu->height) && menu->top >= 0,
         "the highlight is outside its menu");
    const auto width = static_cast<std::size_t>(menu->width);
    for (int row = 0; row < menu->height; ++row) {
        const int item = menu->top + row;
        std::string shown = item < menu->count ? menu->items[item] : "";
        if ((menu->flags & SC_CENTRE) != 0 && shown.size() < width)
            shown.insert(0, (width - shown.size()) / 2, ' ');
        shown.resize(width, ' ');
        check_row(menu, menu->y + row, shown, row == menu->cursor);
    }
}

void check_form(const scobj *focus)
{
    const int y = getcury(curscr);
    const int x = getcurx(curscr);
    played->focus = focus;
    for (const scobj *object = played->head; object != nullptr; object = object->next) {
        must(object->next == nullptr || object->next->prev == object, "the chain is broken");
        if (object->items != nullptr)
            check_menu(object);
        else if (object->size > 0)
            check_field(object);
        else if (object->x >= 0 && object->x < getmaxx(played_in)) // left of it nothing is shown
            check_row(object, object->y, object->text, true);
    }
    if (focus != nullptr && focus->size > 0 && focus->items == nullptr && focus->y >= 0 &&
        focus->y < getmaxy(played_in))
        must(y == focus->y && x == std::clamp(focus->x + focus->cursor, 0, getmaxx(played_in) - 1),
             "the screen's cursor is not where the field's is");
    wmove(curscr, y, x); // reading the cells has moved it
}

// Looks at the state that the key before has left.
template <sc_onkey_op handler> int checked_key(WINDOW *window, scobj *object, int key)
{
    check_form(object);
    return handler(window, object, key);
}

// Does what applications do to fields: empties one, gives a menu a new list, asks for a repaint.
int meddle(WINDOW * /*window*/, scobj *object, void * /*arg*/, int *redraw)
{
    const int turn = played->callbacks++;
    *redraw = 1;
    if (object->items == nullptr && object->size > 0 && turn % 3 == 1)
        object->text[0] = '\0';
    if (object->items != nullptr && turn % 5 == 4)
        sc_menuresync(object, item_texts + turn % 8);
    return turn == 42 ? 7 : 0;
}

scobj *make_object(form &made, input_bytes &input, int y)
{
    static const char *const initials[] = {"", "ab", "twelve chars",
                                           "\x1b[2J\x07 and more than fits", nullptr};
    const int x = input.below(40) - 8;
    const int kind = input.below(4);
    if (kind == 0)
        return sc_newlabel(y, x, "label \x9b\n");
    if (kind == 1) {
        scobj *button = sc_newbutton(y, x, "[ button ]", meddle, nullptr);
        button->onkey = checked_key<button_key>;
        return button;
    }
    if (kind == 2) {
        const char *const *items = item_texts + input.below(8);
        const int start = input.below(12);
        const int height = input.below(ROWS_EACH + 1);
        const int flags = input.below(8);
        scobj *menu = sc_newmenu(y, x, items, start, nullptr, height, input.below(30), flags & 1,
                                 flags & 2, meddle, nullptr);
        menu->onkey = checked_key<menu_key>;
        return menu;
    }
    const int size = 1 + input.below(20);
    made.buffers.push_back(std::make_unique<char[]>(static_cast<std::size_t>(size)));
    const int width = input.below(18) - 6;
    scobj *field = sc_newstrobj(y, x, initials[input.below(5)], made.buffers.back().get(), size,
                                width, meddle, nullptr);
    field->onkey = checked_key<strobj_key>;
    return field;
}

// Turns one object of the form into what its first menu makes of it.
void make_swap(form &made, input_bytes &input)
{
    scobj *menu = made.head;
    while (menu != nullptr && menu->items == nullptr)
        menu = menu->next;
    scobj *shown = made.head;
    while (shown->next != nullptr && input.below(8) != 0)
        shown = shown->next;
    if (menu == nullptr || menu == shown)
        return;
    menu->flags |= SC_SWAP;
    menu->shown[0] = shown;
    made.swapped = shown;
    const int count = input.below(SC_SLOT_ROOM + 1);
    for (int item = 0; item < count; ++item)
        menu->slots[0][item] = item == 3 ? menu->slots[0][1] : make_object(made, input, shown->y);
}

void play(input_bytes &input)
{
    const test_screen screen(24, 80);
    form made;
    played = &made;
    played_in = newwin(1 + input.below(24), 1 + input.below(60), 0, 0);
    const int count = 1 + input.below(7);
    for (int object = 0; object < count; ++object)
        made.head = sc_add(made.head, make_object(made, input, object * ROWS_EACH - 1));
    make_swap(made, input);

    typed_keys keys(input.left.substr(0, KEYS_MAX));
    keys.end();
    if (sc_interact(played_in, made.head) != SC_NO_FOCUS)
        check_form(nullptr);
    while (sc_mapkey() != SC_KEY_END) {
    }
    sc_destroy(made.head);
    delwin(played_in);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    try {
        input_bytes input(data, size);
        play(input);
    } catch (const std::logic_error &fault) {
        (void)std::fprintf(stderr, "form_keys: %s\n", fault.what());
        std::abort();
    }
    return 0;
}
