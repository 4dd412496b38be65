// Text fields: a line of text in the caller's buffer, edited in place and shown through a window
// of `width` columns that scrolls along. A masked field shows an X for each character.
//
// The cursor stands at index cursor + scroll of the text, which never lies past the text's
// end; `cursor` runs from 0 to `width`. Where the application or a menu's swap has put text and
// cursor at odds, the next operation brings the cursor to the end of the text.
#pragma once

#include "lib/screen/scobj.h"

// Makes a text field at (y, x).
//   initial       copied to the buffer, cut to fit, the cursor after it; null empties the buffer
//   buffer, size  the caller's memory and its bytes, terminator included; holds the field's value
//                 and outlives the object. `initial` may be the buffer itself
//   width         columns shown; negative: a masked field of that many columns
//   callback      may be null
scobj *sc_newstrobj(int y, int x, const char *initial, char *buffer, int size, int width,
                    sc_callback_op callback, void *callback_arg);

void strobj_draw(WINDOW *window, scobj *field, int highlight);
void strobj_draw_masked(WINDOW *window, scobj *field, int highlight);

// Handles one key and marks the field as touched, whatever the key. Enter and Tab move on, back
// tab moves back; printable bytes are typed; Ctrl-U, backspace (8), delete (127 or
// SC_KEY_DELETE), left and right edit and refresh; all others beep.
int strobj_key(WINDOW *window, scobj *field, int key);

// The edits that strobj_key maps keys to. They repaint what they change in standout and do not
// refresh.

// Types one character at the cursor; beeps when the buffer is full.
void strobj_insert(WINDOW *window, scobj *field, int character);

// Removes the character before the cursor (`forward` 0) or at it (1). Beeps when there is
// nothing before the cursor; a delete at the end of the text changes nothing.
void strobj_erase(WINDOW *window, scobj *field, int forward);

// Empties the field.
void strobj_clear(WINDOW *window, scobj *field);

// Moves the cursor by one character; beeps at the ends of the text.
void strobj_left(WINDOW *window, scobj *field);
void strobj_right(WINDOW *window, scobj *field);
