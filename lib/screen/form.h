// Running a form: painting its objects, moving the focus, and the loop that hands keys to the
// object in focus and asks the application's callbacks.
#pragma once

#include "lib/screen/scobj.h"

// What sc_interact gives besides a callback's own result.
inline constexpr int SC_NO_FOCUS = -1;
inline constexpr int SC_INPUT_ENDED = 3;

// Runs the form that starts at `head` in `window` until a callback or the end of input ends it.
// Keys come from file descriptor 0 (keys.h). Ctrl-L and Ctrl-R repaint the form, and so does a
// change of the terminal's size.
//   window  not in scrolling mode; curses is running, and the application ends it
// Returns the result, other than 0, of the callback that ended the form; SC_INPUT_ENDED;
// SC_NO_FOCUS when no object can take the focus (after a beep, with nothing painted) or an
// onkey gave an unknown code; 0 for a null `head`.
int sc_interact(WINDOW *window, scobj *head);

// Clears the window and paints all objects, `current` last and highlighted; null for none.
void sc_redraw(WINDOW *window, scobj *head, scobj *current);

// The neighbour of `current` that can take the focus: backwards for SC_PREVIOUS, else forwards,
// and round the end of the chain once. When there is none it beeps and gives `current`, or null
// if that cannot take the focus either.
scobj *sc_next_focus(scobj *current, int action, scobj *head);
