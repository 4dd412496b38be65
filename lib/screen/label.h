// Labels and buttons: a string at a place of the form. A button takes the focus, and its
// callback runs on Enter.
#pragma once

#include "lib/screen/scobj.h"

// A label at (y, x). `text` is not copied; it stays the caller's and may change between paints.
// Left of the window or above it nothing is shown, at the right edge it is cut.
scobj *sc_newlabel(int y, int x, const char *text);

// A label in the middle of the screen's columns, by the length that `text` has now.
scobj *sc_newclabel(int y, const char *text);

// A button at (y, x); `text` as for a label. The callback's result other than 0 ends the form.
scobj *sc_newbutton(int y, int x, const char *text, sc_callback_op callback, void *callback_arg);

// The operations. A label looks the same with highlight; a button's keys are Enter, which
// activates it, Tab and back tab; all others beep.
void label_draw(WINDOW *window, scobj *object, int highlight);
void button_draw(WINDOW *window, scobj *object, int highlight);
int button_key(WINDOW *window, scobj *object, int key);
