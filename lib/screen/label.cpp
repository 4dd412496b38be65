#include "lib/screen/label.h"

#include "lib/screen/keys.h"
#include "lib/screen/paint.h"

using namespace flatlink;

static void draw_text(WINDOW *window, const scobj *object, bool standout)
{
    if (wmove(window, object->y, object->x) == ERR)
        return;
    const std::string_view text = sc_view(object->text);
    sc_paint(window, {.y = object->y,
                      .x = object->x,
                      .width = static_cast<std::int64_t>(text.size()),
                      .text = text,
                      .standout = standout});
}

scobj *sc_newlabel(int y, int x, const char *text)
{
    scobj *label = sc_newobject(y, x);
    label->text = const_cast<char *>(text); // no operation of a label or button writes
    label->draw = label_draw;
    return label;
}

scobj *sc_newclabel(int y, const char *text)
{
    const int half = static_cast<int>(sc_view(text).size() / 2);
    return sc_newlabel(y, COLS / 2 - half, text);
}

scobj *sc_newbutton(int y, int x, const char *text, sc_callback_op callback, void *callback_arg)
{
    scobj *button = sc_newlabel(y, x, text);
    button->draw = button_draw;
    button->onkey = button_key;
    button->callback = callback;
    button->callback_arg = callback_arg;
    return button;
}

void label_draw(WINDOW *window, scobj *object, int /*highlight*/)
{
    draw_text(window, object, false);
}

void button_draw(WINDOW *window, scobj *object, int highlight)
{
    draw_text(window, object, highlight != 0);
}

int button_key(WINDOW * /*window*/, scobj *object, int key)
{
    switch (key) {
    case SC_KEY_ENTER:
        object->touched = 1;
        return SC_ACTIVATE;
    case SC_KEY_TAB:
        return SC_NEXT;
    case SC_KEY_BACKTAB:
        return SC_PREVIOUS;
    default:
        sc_beep();
        return SC_STAY;
    }
}
