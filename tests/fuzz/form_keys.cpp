// Plays any bytes as keys on a form made from the first of them, in windows smaller and larger
// than the form, and looks after every key whether cursor, scroll, text and window agree.
#include "lib/screen/form.h"
#include "lib/screen/keys.h"
#include "lib/screen/label.h"
#include "lib/screen/menu.h"
#include "lib/screen/strobj.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>
#include <vector>

// Present under the sanitizers only.
extern "C" void __sanitizer_set_report_fd(void *fd) __attribute__((weak));

namespace
{

constexpr std::size_t KEYS_MAX = 4096; // fits a pipe
constexpr int ROWS_EACH = 3;           // no two objects overlap

int console = STDERR_FILENO; // the real one, while bells go nowhere

void must(bool holds, const char *what)
{
    if (holds)
        return;
    (void)dprintf(console, "form_keys: %s\n", what);
    std::abort();
}

class CInput
{
  public:
    CInput(const std::uint8_t *bytes, std::size_t count) : data(bytes), left(count) {}
    int below(int limit) // 0 to limit - 1
    {
        if (left == 0)
            return 0;
        --left;
        return *data++ % limit;
    }
    const std::uint8_t *data;
    std::size_t left;
};

struct buffer {
    std::unique_ptr<char[]> bytes; // exactly its size, so that a byte too far is seen
    int size = 0;
};

const char *const item_texts[] = {"one",   "two\tbell\a", "a very long item that is cut",
                                  "",      "five",        "\x1b[31mred",
                                  "seven", nullptr};

struct form {
    scobj *head = nullptr;
    std::vector<buffer> buffers;
    std::vector<scobj *> swapping;
    const char *result = nullptr;
    int callbacks = 0;
};

form *played = nullptr;
WINDOW *played_in = nullptr;

bool is_field(const scobj *object)
{
    return object->onkey != nullptr && object->size > 0;
}

void check_cells(const scobj *field)
{
    const std::string text = field->text;
    for (int column = 0; column < field->width; ++column) {
        const int x = field->x + column;
        if (x < 0 || x >= getmaxx(played_in) || field->y < 0 || field->y >= getmaxy(played_in))
            continue;
        const auto index = static_cast<std::size_t>(field->scroll + column);
        char want = index < text.size() ? text[index] : ' ';
        if (index < text.size() && field->draw == strobj_draw_masked)
            want = 'X';
        if (std::isprint(static_cast<unsigned char>(want)) == 0)
            want = '?';
        must((mvwinch(played_in, field->y, x) & A_CHARTEXT) == static_cast<chtype>(want),
             "a field's cell shows something else than its text");
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
    check_cells(field);
}

void check_form(const scobj *focus)
{
    const int y = getcury(played_in);
    const int x = getcurx(played_in);
    for (const scobj *object = played->head; object != nullptr; object = object->next) {
        if (object->next != nullptr)
            must(object->next->prev == object, "the chain is broken");
        if (object->items != nullptr)
            must(object->cursor >= 0 && object->cursor < std::max(1, object->height) &&
                     object->top >= 0,
                 "the highlight is outside its menu");
        else if (is_field(object))
            check_field(object);
    }
    if (focus != nullptr && focus->items == nullptr && is_field(focus) && focus->y >= 0 &&
        focus->y < getmaxy(played_in)) {
        must(y == focus->y, "the cursor is in another row than the focus");
        must(x == std::clamp(focus->x + focus->cursor, 0, getmaxx(played_in) - 1),
             "the screen's cursor is not where the field's is");
    }
    wmove(played_in, y, x); // reading the cells has moved it
}

// Looks at the state that the key before has left.
template <sc_onkey_op HANDLER> int checked_key(WINDOW *window, scobj *object, int key)
{
    check_form(object);
    return HANDLER(window, object, key);
}

// Does what applications do to fields: empties one, writes over its end, asks for a repaint.
int meddle(WINDOW * /*window*/, scobj *object, void * /*arg*/, int *redraw)
{
    const int turn = played->callbacks++;
    *redraw = 1;
    if (object->items == nullptr && is_field(object) && turn % 3 == 1)
        object->text[0] = '\0';
    if (object->items != nullptr && turn % 5 == 4)
        sc_menuresync(object, item_texts + turn % 8);
    return turn == 42 ? 7 : 0;
}

scobj *make_field(form &made, CInput &input, int y, int x)
{
    static const char *const initials[] = {"", "ab", "twelve chars",
                                           "\x1b[2J\x07 and more than fits"};
    buffer memory;
    memory.size = 1 + input.below(20);
    memory.bytes.reset(new char[static_cast<std::size_t>(memory.size)]);
    const int width = input.below(18) - 6;
    const int initial = input.below(5);
    scobj *field = sc_newstrobj(y, x, initial == 4 ? nullptr : initials[initial],
                                memory.bytes.get(), memory.size, width, meddle, nullptr);
    field->onkey = checked_key<strobj_key>;
    made.buffers.push_back(std::move(memory));
    return field;
}

scobj *make_menu(form &made, CInput &input, int y, int x)
{
    const char *const *items = item_texts + input.below(8);
    const int start = input.below(12);
    const int height = input.below(ROWS_EACH + 1);
    const int flags = input.below(8);
    scobj *menu = sc_newmenu(y, x, items, start, (flags & 4) != 0 ? &made.result : nullptr, height,
                             input.below(30), flags & 1, flags & 2, meddle, nullptr);
    menu->onkey = checked_key<menu_key>;
    return menu;
}

scobj *make_object(form &made, CInput &input, int y)
{
    const int x = input.below(40) - 8;
    switch (input.below(4)) {
    case 0:
        return sc_newlabel(y, x, "label \x9b\n");
    case 1: {
        scobj *button = sc_newbutton(y, x, "[ button ]", meddle, nullptr);
        button->onkey = checked_key<button_key>;
        return button;
    }
    case 2:
        return make_menu(made, input, y, x);
    default:
        return make_field(made, input, y, x);
    }
}

// Turns the form's last object into what the first menu makes of it.
void make_swap(form &made, CInput &input)
{
    scobj *menu = made.head;
    while (menu != nullptr && menu->items == nullptr)
        menu = menu->next;
    scobj *last = made.head;
    while (last->next != nullptr)
        last = last->next;
    if (menu == nullptr || menu == last || input.below(2) == 0)
        return;
    menu->flags |= SC_SWAP;
    menu->shown[0] = last;
    const int count = input.below(SC_SLOT_ROOM + 1);
    for (int item = 0; item < count; ++item)
        menu->slots[0][item] = item == 3 ? menu->slots[0][1] : make_object(made, input, last->y);
}

int device(const char *path, int flags)
{
    return open(path, flags | O_CLOEXEC);
}

// Curses needs a terminal's description and somewhere to write, not a terminal.
SCREEN *blind_screen()
{
    static SCREEN *screen = [] {
        FILE *in = fdopen(device("/dev/null", O_RDONLY), "r");
        FILE *out = fdopen(device("/dev/null", O_WRONLY), "w");
        return newterm("vt100", out, in);
    }();
    return screen;
}

void play(CInput &input)
{
    form made;
    played = &made;
    played_in = newwin(1 + input.below(24), 1 + input.below(60), 0, 0);
    const int count = 1 + input.below(7);
    for (int object = 0; object < count; ++object)
        made.head = sc_add(made.head, make_object(made, input, object * ROWS_EACH - 1));
    make_swap(made, input);

    int ends[2];
    must(pipe2(ends, O_CLOEXEC) == 0, "no pipe");
    const std::size_t length = std::min(input.left, KEYS_MAX);
    must(write(ends[1], input.data, length) == static_cast<ssize_t>(length), "no room for keys");
    close(ends[1]);
    dup2(ends[0], STDIN_FILENO);
    close(ends[0]);

    const int result = sc_interact(played_in, made.head);
    must(result == SC_INPUT_ENDED || result == 7 || result == SC_NO_FOCUS, "an odd result");
    if (result != SC_NO_FOCUS)
        check_form(nullptr);
    while (sc_mapkey() != SC_KEY_END) {
    }
    sc_destroy(made.head);
    delwin(played_in);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    SCREEN *const screen = blind_screen();
    must(screen != nullptr, "no vt100 in this machine's terminal descriptions");
    SCREEN *const before = set_term(screen);
    const int input_before = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    console = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3);
    if (__sanitizer_set_report_fd != nullptr)
        __sanitizer_set_report_fd(reinterpret_cast<void *>(std::intptr_t{console}));
    const int nowhere = device("/dev/null", O_WRONLY);
    dup2(nowhere, STDERR_FILENO);
    close(nowhere);

    CInput input(data, size);
    play(input);

    dup2(console, STDERR_FILENO);
    if (__sanitizer_set_report_fd != nullptr)
        __sanitizer_set_report_fd(reinterpret_cast<void *>(std::intptr_t{STDERR_FILENO}));
    dup2(input_before, STDIN_FILENO);
    close(console);
    close(input_before);
    console = STDERR_FILENO;
    set_term(before);
    return 0;
}
