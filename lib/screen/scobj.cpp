#include "lib/screen/scobj.h"

#include <cstdio>
#include <cstdlib>
#include <new>

using namespace flatlink;

scobj *sc_add(scobj *head, scobj *object)
{
    if (head == nullptr)
        return object;
    if (object == nullptr)
        return head;
    scobj *last = head;
    while (last->next != nullptr)
        last = last->next;
    last->next = object;
    object->prev = last;
    return head;
}

void sc_destroy(scobj *head)
{
    for (scobj *object = head; object != nullptr;) {
        scobj *next = object->next;
        if (object->destroy != nullptr)
            object->destroy(object);
        object = next;
    }
}

scobj *flatlink::sc_newobject(int y, int x)
{
    auto *object = new (std::nothrow) scobj;
    if (object == nullptr)
        sc_outofcore();
    object->x = x;
    object->y = y;
    object->destroy = sc_release;
    return object;
}

void flatlink::sc_release(scobj *object)
{
    delete object;
}

void sc_outofcore()
{
    wclear(stdscr);
    wmove(stdscr, LINES, 0);
    wrefresh(stdscr);
    resetty();
    endwin();
    (void)std::fputs("Fatal error: could not allocate memory.\n", stderr);
    std::exit(1);
}
