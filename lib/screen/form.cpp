#include "lib/screen/form.h"

#include "lib/screen/keys.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{

struct screen_size {
    int rows = 0, columns = 0; // 0 when input comes from no terminal
    bool operator==(const screen_size &) const = default;
};

screen_size terminal_size()
{
    winsize size = {};
    if (ioctl(STDIN_FILENO, TIOCGWINSZ, &size) != 0)
        return {};
    return {size.ws_row, size.ws_col};
}

// Brings curses to the terminal's size. Curses would notice only while it reads keys itself.
// True when `known` was out of date.
bool follow_size(screen_size &known)
{
    const screen_size now = terminal_size();
    if (now == known || now.rows == 0 || now.columns == 0)
        return false;
    known = now;
    resize_term(now.rows, now.columns);
    return true;
}

bool takes_keys(const scobj *object)
{
    return object != nullptr && object->onkey != nullptr;
}

scobj *step(const scobj *object, int action)
{
    return action == SC_PREVIOUS ? object->prev : object->next;
}

scobj *last_of(scobj *head)
{
    while (head != nullptr && head->next != nullptr)
        head = head->next;
    return head;
}

// Runs the callback of an object that was touched. Gives its result; 0 goes on.
int run_callback(WINDOW *window, scobj *head, scobj *current)
{
    if (current->callback == nullptr || current->touched == 0)
        return 0;
    int redraw = 0;
    const int result = current->callback(window, current, current->callback_arg, &redraw);
    if (result != 0)
        return result;
    current->touched = 0;
    if (redraw != 0)
        sc_redraw(window, head, current);
    return 0;
}

scobj *move_focus(WINDOW *window, scobj *head, scobj *current, int action)
{
    current->draw(window, current, 0);
    current = sc_next_focus(current, action, head);
    if (current == nullptr)
        return nullptr;
    current->touched = 0;
    current->draw(window, current, 1);
    wrefresh(window);
    return current;
}

} // namespace

int sc_interact(WINDOW *window, scobj *head)
{
    if (head == nullptr)
        return 0;
    scobj *current = takes_keys(head) ? head : sc_next_focus(head, SC_NEXT, head);
    if (current == nullptr)
        return SC_NO_FOCUS;
    current->touched = 0;
    screen_size size = terminal_size();
    sc_redraw(window, head, current);
    for (;;) {
        // A menu may have swapped a label into the place of the object in focus.
        if (!takes_keys(current))
            current = move_focus(window, head, current, SC_NEXT);
        if (current == nullptr)
            return SC_NO_FOCUS;
        const int key = sc_mapkey();
        if (key == SC_KEY_END)
            return SC_INPUT_ENDED;
        const bool repaint = key == SC_KEY_REPAINT || key == SC_KEY_REDRAW;
        if (follow_size(size) || repaint)
            sc_redraw(window, head, current);
        if (repaint || !takes_keys(current))
            continue;
        const int action = current->onkey(window, current, key);
        if (action == SC_STAY)
            continue;
        if (action < SC_STAY || action > SC_NEXT)
            return SC_NO_FOCUS;
        const int result = run_callback(window, head, current);
        if (result != 0)
            return result;
        if (action != SC_ACTIVATE)
            current = move_focus(window, head, current, action);
        if (current == nullptr)
            return SC_NO_FOCUS;
    }
}

void sc_redraw(WINDOW *window, scobj *head, scobj *current)
{
    wclear(window);
    for (scobj *object = head; object != nullptr; object = object->next)
        object->draw(window, object, 0);
    if (current != nullptr)
        current->draw(window, current, 1);
    wrefresh(window);
}

scobj *sc_next_focus(scobj *current, int action, scobj *head)
{
    for (scobj *object = step(current, action); object != nullptr; object = step(object, action))
        if (takes_keys(object))
            return object;
    for (scobj *object = action == SC_PREVIOUS ? last_of(head) : head; object != nullptr;
         object = step(object, action))
        if (takes_keys(object))
            return object;
    sc_beep();
    return takes_keys(current) ? current : nullptr;
}
