// The one record that every object of a form shares, and the chain that makes objects a form.
// Text fields (strobj.h), labels and buttons (label.h) and menus (menu.h) are kinds of it; they
// differ in their operations and in which fields mean something. form.h runs the chain.
//
// A position counts rows and columns of the window from 0. One byte of text is one column: text
// is of a single-byte character set, and a byte that the current locale cannot print is shown
// as a question mark. Whatever lies outside the window is not shown.
//
// The library keeps state of its own and is for one thread.
#pragma once

#include <cstdint>
#include <curses.h>

struct scobj;

// What an object's onkey asks for. Any other code ends the form.
enum sc_action : int {
    SC_STAY = 0,     // nothing more
    SC_ACTIVATE = 1, // run the callback, keep the focus
    SC_PREVIOUS = 2, // run the callback, focus the object before
    SC_NEXT = 3,     // run the callback, focus the object after
};

// Bits of `flags`; they mean something for menus only.
inline constexpr std::uint32_t SC_MARK_ALL = 1; // every key counts as a touch, not only Enter
inline constexpr std::uint32_t SC_CENTRE = 2;   // items narrower than the menu are centred
inline constexpr std::uint32_t SC_SWAP = 4;     // `slots` and `shown` are in use

inline constexpr int SC_SLOT_LISTS = 2;
inline constexpr int SC_SLOT_ROOM = 5;

// Paints the object; a highlight other than 0 paints it in standout.
using sc_draw_op = void (*)(WINDOW *window, scobj *object, int highlight);
using sc_destroy_op = void (*)(scobj *object);
// Handles one key (keys.h) and gives an sc_action.
using sc_onkey_op = int (*)(WINDOW *window, scobj *object, int key);
// The application's hook, run when a touched object loses the focus or is activated. A result
// other than 0 ends the form with that value. Setting `*redraw` (0 on entry) repaints the whole
// form. It may change the buffers of text fields and resync menus; it must leave the chain.
using sc_callback_op = int (*)(WINDOW *window, scobj *object, void *arg, int *redraw);

struct scobj {
    std::int32_t x = 0; // column
    std::int32_t y = 0; // row
    std::uint32_t flags = 0;
    std::int32_t height = 0; // menu: rows shown
    std::int32_t width = 0;  // text field, menu: columns shown
    union {
        std::int32_t size = 0; // text field: bytes of the buffer, terminator included
        std::int32_t count;    // menu: number of items
    };
    // Text field: cursor column within the field. Menu: highlighted row within the rows shown.
    std::int32_t cursor = 0;
    union {
        std::int32_t scroll = 0; // text field: index of the first character shown
        std::int32_t top;        // menu: index of the first item shown
    };
    // The caller's memory: a text field's buffer, or the string of a label or button, which is
    // only read.
    char *text = nullptr;
    const char *const *items = nullptr; // menu: the caller's strings, ended by a null
    const char **result = nullptr;      // menu: where the highlighted item goes; may be null
    // Menu with SC_SWAP, set by the application: slots[i][n] is what shown[i] becomes while item
    // n is highlighted. A list shorter than its room ends with a null. The alternatives are the
    // menu's to destroy; shown[] are objects of the form, other than the menu itself.
    scobj *slots[SC_SLOT_LISTS][SC_SLOT_ROOM] = {};
    scobj *shown[SC_SLOT_LISTS] = {};

    sc_draw_op draw = nullptr;
    sc_destroy_op destroy = nullptr;
    sc_onkey_op onkey = nullptr;       // null: cannot take the focus
    sc_callback_op callback = nullptr; // may be null
    void *callback_arg = nullptr;
    std::int32_t touched = 0; // other than 0: leaving the object runs its callback

    scobj *next = nullptr;
    scobj *prev = nullptr;
};

// Appends `object` to the chain that starts at `head` and gives the head. A null head starts a
// new chain, and `object` is what is returned. The chain only links; it owns by sc_destroy.
scobj *sc_add(scobj *head, scobj *object);

// Releases every object of the chain by its own destroy. Buffers, texts and item lists stay the
// caller's.
void sc_destroy(scobj *head);

namespace flatlink
{

// For constructors: an object at (y, x) with nothing else set, to be released by sc_release.
// Never null: exhausted memory ends the program through sc_outofcore.
scobj *sc_newobject(int y, int x);

// The destroy operation of every kind that holds nothing but its record.
void sc_release(scobj *object);

} // namespace flatlink

// Ends the program with status 1 and a message on the standard error stream, the terminal
// brought back first to what the application's savetty kept: call savetty once curses runs.
[[noreturn]] void sc_outofcore();
