// Menus: a scrolling list of strings, one of them highlighted. The highlighted item is the one
// at index top + cursor; it is reported through `result`, and it can decide what other objects
// of the form are (`slots` and `shown` of the record).
#pragma once

#include "lib/screen/scobj.h"

// Makes a menu with its first row at (y, x).
//   items          strings ended by a null, the caller's; they outlive the menu
//   start          the list opens scrolled so that this item is the last one shown; the highlight
//                  is on the first row shown in any case
//   result         holds, after a key, the item highlighted before that key: the last Enter or
//                  Tab stores the choice. Null is stored for an empty list. May be null
//   height, width  rows and columns shown
//   mark_all       other than 0: leaving the menu after any key runs the callback; 0: Enter only
//   centre         other than 0: items narrower than `width` are centred
//   callback       may be null
scobj *sc_newmenu(int y, int x, const char *const *items, int start, const char **result,
                  int height, int width, int mark_all, int centre, sc_callback_op callback,
                  void *callback_arg);

// Gives the menu a new list, with the highlight on its first item. Draws nothing.
void sc_menuresync(scobj *menu, const char *const *items);

// Paints the menu, and before that, with SC_SWAP, makes each shown object a copy of the
// alternative for the highlighted item and paints it: the first one with the menu's highlight,
// the second without. Place in the chain is all that a shown object keeps; a field's text lives
// in its buffer and so stays, its cursor does not. Without an alternative for the item nothing
// is swapped.
void menu_draw(WINDOW *window, scobj *menu, int highlight);

// Handles one key: down or blank, up, Enter, Tab, back tab; all others beep. Enter activates.
int menu_key(WINDOW *window, scobj *menu, int key);

// Moves the highlight by one item and paints what changes; beeps at the ends of the list. The
// swap of shown objects waits for the next menu_draw, unless the list scrolls.
void menu_moveup(WINDOW *window, scobj *menu);
void menu_movedn(WINDOW *window, scobj *menu);

// Releases the menu and the alternatives in its slots, each once.
void menu_destroy(scobj *menu);
