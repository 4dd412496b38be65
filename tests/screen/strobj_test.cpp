#include "lib/screen/strobj.h"

#include "lib/screen/form.h"
#include "lib/screen/keys.h"
#include "tests/screen/terminal.h"

#include <gtest/gtest.h>

namespace
{

constexpr int FIELD_X = 2;
constexpr const char *RIGHT = "\x06";
constexpr const char *LEFT = "\x02";

std::string times(int count, const std::string &keys)
{
    std::string all;
    for (int index = 0; index < count; ++index)
        all += keys;
    return all;
}

struct field_case {
    const char *label;
    int size, width; // negative: masked
    const char *initial;
    std::string keys;
    std::string text;  // in the buffer at the end
    std::string shown; // the screen from the field's first column on, without trailing blanks
    int cursor;        // column on the screen within the field
    int bells = 0;
};

const field_case cases[] = {
    {"nothing typed", 20, 6, nullptr, "", "", "", 0},
    {"initial text", 20, 6, "abc", "", "abc", "abc", 3},
    {"initial as wide as the field", 20, 6, "abcdef", "", "abcdef", "abcdef", 6},
    {"initial wider", 20, 6, "abcdefgh", "", "abcdefgh", "cdefgh", 6},
    {"initial cut to the buffer", 5, 6, "abcdefgh", "", "abcd", "abcd", 4},
    {"typed", 20, 6, nullptr, "ab c", "ab c", "ab c", 4},
    {"typed up to the right edge", 20, 6, nullptr, "abcde", "abcde", "abcde", 5},
    {"typed past it", 20, 6, nullptr, "abcdefg", "abcdefg", "cdefg", 5},
    {"typed behind a full field", 20, 6, "abcdef", "g", "abcdefg", "bcdefg", 6},
    {"buffer full", 5, 6, nullptr, "abcdef", "abcd", "abcd", 4, 2},
    {"room for the terminator only", 1, 6, "ab", "c\x08\x7f", "", "", 0, 1},
    {"masked", 20, -8, nullptr, "abcd", "abcd", "XXXX", 4},
    {"masked edit", 20, -8, "abcd", std::string(LEFT) + "e\x08", "abcd", "XXXX", 3},
    {"inserted inside", 20, 6, "abc", times(2, LEFT) + "z", "azbc", "azbc", 2},
    {"inserted inside at the edge", 20, 4, "abcdef", times(1, LEFT) + "z", "abcdezf", "cdez", 4},
    {"left to the start", 20, 6, "ab", times(3, LEFT), "ab", "ab", 0, 1},
    {"left scrolls first", 20, 4, "abcdef", times(2, LEFT), "abcdef", "abcd", 4},
    {"right at the end", 20, 6, "ab", RIGHT, "ab", "ab", 2, 1},
    {"right at the edge scrolls", 20, 4, "abcdef", times(6, LEFT) + times(4, RIGHT), "abcdef",
     "bcde", 3},
    {"backspace at the end", 20, 6, "abc", "\x08", "ab", "ab", 2},
    {"backspace at the edge scrolls", 20, 4, "abcdef", "\x08\x08\x08", "abc", "abc", 3},
    {"backspace inside", 20, 6, "abc", std::string(LEFT) + "\x08", "ac", "ac", 1},
    {"backspace at the start deletes", 20, 6, "abc", times(3, LEFT) + "\x08", "bc", "bc", 0},
    {"delete inside", 20, 6, "abc", times(2, LEFT) + "\x04", "ac", "ac", 1},
    {"rubout deletes forward", 20, 6, "abc", times(3, LEFT) + "\x7f\x7f", "c", "c", 0},
    {"delete at the end", 20, 6, "abc", "\x04", "abc", "abc", 3},
    {"delete at the edge", 20, 4, "abcdef", "\x04", "abcdef", "cdef", 4},
    {"erase in an empty field", 20, 6, nullptr, "\x08\x04\x7f", "", "", 0},
    {"cleared", 20, 4, "abcdef", "\x15", "", "", 0},
    {"no such key", 20, 6, "ab", "\x01\x10\x0e\xe9", "ab", "ab", 2, 4},
    {"a tab that an escape held back", 20, 6, "ab", "\x1b\x09zzzzz", "abzzzzz", "zzzzz", 5, 2},
    {"no columns", 20, 0, "ab", "c\x02\x06\x08", "ab", "", 0},
    // Backspaces inside a scrolled text bring the cursor to the first column; from there on
    // they eat what is scrolled off, and the cursor stays in the field.
    {"backspaces to column 0", 20, 4, "abcdef", LEFT + times(4, "\x08"), "af", "f", 0},
    {"inside, from column 0", 20, 4, "abcdef", LEFT + times(5, "\x08"), "f", "", 0},
    {"at the end, from column 0", 20, 4, "abcdef", LEFT + times(6, "\x08"), "", "", 0},
    {"nothing is left", 20, 4, "abcdef", LEFT + times(8, "\x08"), "", "", 0},
    {"typed from column 0", 20, 4, "abcdef", LEFT + times(5, "\x08") + "z", "fz", "z", 1},
};

} // namespace

TEST(TextField, ShowsWhatWasTyped)
{
    for (const field_case &one : cases) {
        SCOPED_TRACE(one.label);
        CScreen screen(3, 20);
        CKeys keys(one.keys);
        keys.end();
        CBells bells;
        std::string buffer(static_cast<std::size_t>(one.size), '#');
        scobj *field = sc_newstrobj(1, FIELD_X, one.initial, buffer.data(), one.size, one.width,
                                    nullptr, nullptr);
        EXPECT_EQ(sc_interact(stdscr, field), SC_INPUT_ENDED);
        EXPECT_EQ(buffer.c_str(), one.text);
        const auto width = static_cast<std::size_t>(std::abs(one.width));
        std::string shown = one.shown;
        shown.resize(20 - FIELD_X, ' ');
        EXPECT_EQ(screen.text(1), std::string(FIELD_X, ' ') + shown);
        EXPECT_EQ(screen.marks(1).substr(0, FIELD_X + width),
                  std::string(FIELD_X, ' ') + std::string(width, '#'));
        EXPECT_EQ(screen.cursor_row(), 1);
        EXPECT_EQ(screen.cursor_column(), FIELD_X + one.cursor);
        EXPECT_EQ(bells.count(), one.bells);
        EXPECT_EQ(screen.unknown, "");
        sc_destroy(field);
    }
}
