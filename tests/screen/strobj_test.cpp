#include "lib/screen/strobj.h"

#include "tests/screen/terminal.h"

#include <gtest/gtest.h>

// form_keys holds fields, cursors and windows together for any keys; here is what keys mean.
TEST(TextField, ShowsWhatWasTyped)
{
    static const std::string L = "\x02"; // left
    static const std::string R = "\x06"; // right
    static const std::string B = "\x08"; // backspace
    static const struct {
        const char *label;
        int size, width; // negative: masked
        const char *initial;
        std::string keys, text; // in the buffer at the end
        const char *shown;
        int cursor; // its column
        int bells = 0;
    } cases[] = {
        {"initial wider", 20, 6, "abcdefgh", "", "abcdefgh", "{cdefgh}", 6},
        {"initial cut to the buffer", 5, 6, "abcdefgh", "", "abcd", "{abcd  }", 4},
        {"typed past the edge", 20, 6, nullptr, "ab cdefg", "ab cdefg", "{cdefg }", 5},
        {"buffer full", 5, 6, nullptr, "abcdef", "abcd", "{abcd  }", 4, 2},
        {"room for the terminator only", 1, 6, "ab", "c\x08\x7f", "", "{      }", 0, 1},
        {"masked", 20, -8, "abcd", L + "e\x08", "abcd", "{XXXX    }", 3},
        {"inserted inside", 20, 6, "abc", L + L + "z", "azbc", "{azbc  }", 2},
        {"inserted inside at the edge", 20, 4, "abcdef", L + "z", "abcdezf", "{cdez}", 4},
        {"left to the start", 20, 6, "ab", L + L + L, "ab", "{ab    }", 0, 1},
        {"left scrolls first", 20, 4, "abcdef", L + L, "abcdef", "{abcd}", 4},
        {"right scrolls", 20, 4, "abcde", L + L + L + L + L + R + R + R + R, "abcde", "{bcde}", 3},
        {"backspace at the edge scrolls", 20, 4, "abcdef", B + B + B, "abc", "{abc }", 3},
        {"backspace at the start deletes", 20, 6, "abc", L + L + L + B, "bc", "{bc    }", 0},
        {"rubout deletes forward", 20, 6, "abc", L + L + L + "\x7f\x7f", "c", "{c     }", 0},
        {"delete at the end", 20, 4, "abcdef", "\x04", "abcdef", "{cdef}", 4},
        {"cleared", 20, 4, "abcdef", "\x15", "", "{    }", 0},
        {"no such key", 20, 6, "ab", "\x01\x10\x0e\xe9", "ab", "{ab    }", 2, 4},
        {"a tab held back", 20, 6, "ab", "\x1b\x09zzzzz", "abzzzzz", "{zzzzz }", 5, 2},
        {"no columns", 20, 0, "ab", "c\x02\x06\x08", "ab", "", 0},
        // From the first column on they eat what is scrolled off, and the cursor stays.
        {"backspaces to column 0", 20, 4, "abcdef", L + B + B + B + B, "af", "{f   }", 0},
        {"typed from column 0", 20, 4, "abcdef", L + B + B + B + B + B + "z", "fz", "{z   }", 1},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.label);
        const CScreen screen(2, 20);
        std::string buffer(static_cast<std::size_t>(one.size), '#');
        scobj *field =
            sc_newstrobj(0, 0, one.initial, buffer.data(), one.size, one.width, nullptr, nullptr);
        EXPECT_EQ(run(field, one.keys), SC_INPUT_ENDED);
        EXPECT_EQ(buffer.c_str(), one.text);
        EXPECT_EQ(screen.picture(), one.shown);
        EXPECT_EQ(screen.cursor(), "0," + std::to_string(one.cursor));
        EXPECT_EQ(screen.bells.count(), one.bells);
        sc_destroy(field);
    }
}
