// Keys as a form takes them: bytes of file descriptor 0, with control characters and the escape
// sequences of the arrow keys turned into codes of their own. Curses has no part in it.
//
// The descriptor is expected in a mode that delivers each byte as it is typed (cbreak and noecho
// of curses). A change of the terminal's size does not end input. Any other signal whose handler
// does not restart calls ends the read, so that an application can end a form from outside.
#pragma once

// Bytes are their own code; the rest begins at 1000.
enum sc_key : int {
    SC_KEY_END = -1, // end of input
    SC_KEY_ENTER = 10,
    SC_KEY_REPAINT = 12, // Ctrl-L
    SC_KEY_REDRAW = 18,  // Ctrl-R, does the same; also given when the terminal changes its size
    SC_KEY_ESCAPE = 27,
    SC_KEY_UP = 1000,      // Ctrl-P, or an escape sequence that ends in A
    SC_KEY_DOWN = 1001,    // Ctrl-N, ... B
    SC_KEY_RIGHT = 1002,   // Ctrl-F, ... C
    SC_KEY_LEFT = 1003,    // Ctrl-B, ... D
    SC_KEY_BACKTAB = 1004, // no input gives it; objects honour it
    SC_KEY_TAB = 1005,
    SC_KEY_DELETE = 1009, // Ctrl-D: delete at the cursor
};

// What sc_getbyte_timed gives when nothing came in time.
inline constexpr int SC_TIMED_OUT = -2;

// Waits for the next key and gives its code, SC_KEY_END when input has ended.
// After an escape it waits up to SC_TIMED_OUT's limit for each further byte. Bytes that turned
// out not to belong to an arrow key are given by the following calls, one each, untranslated;
// an end of input met on the way is given as 255 among them. At most six bytes are held so, and
// they are kept across calls and forms.
int sc_mapkey();

// Waits for one byte and gives it as 0 to 255; -1 at the end of input or when the read failed.
int sc_getbyte();

// The same, with a wait of a little over one second; SC_TIMED_OUT when it passes without input.
int sc_getbyte_timed();

// Sounds the terminal's bell: one byte 7 on file descriptor 2.
void sc_beep();
