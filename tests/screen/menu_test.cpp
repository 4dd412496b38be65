#include "lib/screen/menu.h"

#include "lib/screen/form.h"
#include "lib/screen/keys.h"
#include "lib/screen/label.h"
#include "lib/screen/strobj.h"
#include "tests/screen/terminal.h"

#include <climits>
#include <gtest/gtest.h>

namespace
{

constexpr int MENU_X = 2;
const char *const three[] = {"one", "two", "three", nullptr};
const char *const ten[] = {"i0", "i1", "i2", "i3", "i4", "i5", "i6", "i7", "i8", "i9", nullptr};
const char *const sized[] = {"abcdef", "abcdefgh", "abc", "\x1b[7m\n", nullptr};
const char *const none[] = {nullptr};

struct menu_case {
    const char *label;
    const char *const *items;
    int start, height, width, centre;
    std::string keys;
    std::vector<std::string> rows; // from row 1 and the menu's column on, `width` columns
    int marked;                    // the row in standout
    int top;
    const char *result = nullptr;
    int bells = 0;
};

const menu_case cases[] = {
    {"longer than its list",
     three,
     0,
     5,
     5,
     0,
     "",
     {"one  ", "two  ", "three", "     ", "     "},
     0,
     0},
    {"down past the end",
     three,
     0,
     5,
     5,
     0,
     "\x0e   ",
     {"one  ", "two  ", "three", "     ", "     "},
     2,
     0,
     "three",
     2},
    {"up past the start", three, 0, 2, 3, 0, " \x10\x10", {"one", "two"}, 0, 0, "one", 1},
    {"down scrolls", ten, 0, 3, 2, 0, "   ", {"i1", "i2", "i3"}, 2, 1, "i2"},
    {"up scrolls", ten, 0, 3, 2, 0, "   \x10\x10\x10", {"i0", "i1", "i2"}, 0, 0, "i1"},
    {"one row", ten, 0, 1, 2, 0, "  ", {"i2"}, 0, 2, "i1"},
    {"Tab stores the choice", three, 0, 2, 3, 0, " \t", {"one", "two"}, 1, 0, "two"},
    {"Enter stores the choice", three, 0, 2, 3, 0, " \r", {"one", "two"}, 1, 0, "two"},
    {"opens scrolled", ten, 7, 3, 2, 0, "", {"i5", "i6", "i7"}, 0, 5},
    {"opens at the first page", ten, 2, 3, 2, 0, "", {"i0", "i1", "i2"}, 0, 0},
    {"opens behind its list", three, 9, 3, 3, 0, " ", {"   ", "   ", "   "}, 0, 7, nullptr, 1},
    {"comes back from behind", three, 4, 3, 3, 0, "\x10", {"two", "thr", "   "}, 0, 1, "three"},
    {"cut", sized, 0, 4, 6, 0, "", {"abcdef", "abcdef", "abc   ", "?[7m? "}, 0, 0},
    {"centred", sized, 0, 4, 8, 1, "", {" abcdef ", "abcdefgh", "  abc   ", " ?[7m?  "}, 0, 0},
    {"centred and too long", sized, 0, 3, 5, 1, "", {"abcde", "abcde", " abc "}, 0, 0},
    {"empty list", none, 0, 2, 3, 0, " \x10", {"   ", "   "}, 0, 0, nullptr, 2},
    {"other keys", three, 0, 2, 3, 0, "x\x06\x7f", {"one", "two"}, 0, 0, "one", 3},
};

} // namespace

TEST(Menu, ShowsItsRows)
{
    for (const menu_case &one : cases) {
        SCOPED_TRACE(one.label);
        CScreen screen(8, 20);
        CKeys keys(one.keys);
        keys.end();
        CBells bells;
        const char *result = nullptr;
        scobj *menu = sc_newmenu(1, MENU_X, one.items, one.start, &result, one.height, one.width, 0,
                                 one.centre, nullptr, nullptr);
        EXPECT_EQ(sc_interact(stdscr, menu), SC_INPUT_ENDED);
        for (int row = 0; row < one.height; ++row) {
            std::string text = one.rows[static_cast<std::size_t>(row)];
            std::string marks(text.size(), row == one.marked ? '#' : ' ');
            text.resize(20 - MENU_X, ' ');
            marks.resize(20 - MENU_X, ' ');
            EXPECT_EQ(screen.text(row + 1).substr(MENU_X), text);
            EXPECT_EQ(screen.marks(row + 1).substr(MENU_X), marks);
        }
        EXPECT_EQ(menu->top, one.top);
        EXPECT_EQ(menu->cursor, one.marked);
        EXPECT_STREQ(result, one.result);
        EXPECT_EQ(screen.cursor_row(), 1 + one.marked);
        EXPECT_EQ(bells.count(), one.bells);
        EXPECT_EQ(screen.unknown, "");
        sc_destroy(menu);
    }
}

TEST(Menu, ResyncStartsAnew)
{
    scobj *menu = sc_newmenu(0, 0, ten, 9, nullptr, 3, 4, 1, 0, nullptr, nullptr);
    menu->cursor = 2;
    sc_menuresync(menu, three);
    EXPECT_EQ(menu->count, 3);
    EXPECT_EQ(menu->top, 0);
    EXPECT_EQ(menu->cursor, 0);
    EXPECT_EQ(menu->items, three);
    sc_destroy(menu);
}

// Sizes that no screen has are painted in no more than the screen's time.
TEST(Menu, AnySizeEnds)
{
    const CScreen screen(4, 10);
    for (const int size : {INT_MIN, -1, 0, INT_MAX})
        for (const int place : {INT_MIN, -1, INT_MAX}) {
            scobj *menu = sc_newmenu(place, place, three, INT_MAX, nullptr, size, size, 1, 1,
                                     nullptr, nullptr);
            menu_draw(stdscr, menu, 1);
            menu_movedn(stdscr, menu);
            menu_moveup(stdscr, menu);
            EXPECT_GE(menu->top, 0);
            sc_destroy(menu);
        }
}

namespace
{

const char *const kinds[] = {"file", "host", "none", nullptr};

// A menu that decides about a label and a field beside it; one button behind them.
class CSwapping : public testing::Test
{
  protected:
    CSwapping()
    {
        head = menu = sc_newmenu(0, 0, kinds, 0, nullptr, 3, 5, 0, 0, nullptr, nullptr);
        name = sc_newlabel(0, 8, "?");
        value = sc_newlabel(1, 8, "?");
        sc_add(sc_add(sc_add(head, name), value), sc_newbutton(3, 0, "[ok]", nullptr, nullptr));
        menu->flags |= SC_SWAP;
        menu->shown[0] = name;
        menu->shown[1] = value;
        menu->slots[0][0] = sc_newbutton(0, 8, "File", nullptr, nullptr);
        menu->slots[0][1] = sc_newlabel(0, 8, "Host");
        menu->slots[0][2] = sc_newlabel(0, 8, "    ");
        menu->slots[1][0] = sc_newstrobj(1, 8, "log", file, sizeof file, 6, nullptr, nullptr);
        menu->slots[1][1] = sc_newstrobj(1, 8, "gw", host, sizeof host, 6, nullptr, nullptr);
        menu->slots[1][2] = sc_newlabel(1, 8, "(none)");
    }
    ~CSwapping() override { sc_destroy(head); }

    int run(const std::string &typed)
    {
        CKeys keys(typed);
        keys.end();
        return sc_interact(stdscr, head);
    }

    CScreen screen{5, 20};
    CBells bells;
    char file[16], host[16];
    scobj *head, *menu, *name, *value;
};

} // namespace

TEST_F(CSwapping, FirstIsMarkedWithTheMenuSecondNever)
{
    run("");
    EXPECT_EQ(screen.text(0), "file    File        ");
    EXPECT_EQ(screen.marks(0), "#####   ####        ");
    EXPECT_EQ(screen.text(1), "host    log         ");
    EXPECT_EQ(screen.marks(1), "                    ");
}

TEST_F(CSwapping, SwapWaitsForTheNextPaint)
{
    run(" ");
    EXPECT_EQ(screen.text(0), "file    File        ");
    run("\t");
    EXPECT_EQ(screen.text(0), "file    Host        ");
    EXPECT_EQ(screen.text(1), "host    gw          ");
}

TEST_F(CSwapping, TextStaysInItsBuffer)
{
    run(" \t.net\t\t \t"); // host, typed into, round to the menu, none
    EXPECT_STREQ(host, "gw.net");
    EXPECT_EQ(screen.text(1), "host    (none)      ");
    run("\x10\t"); // host again
    EXPECT_EQ(screen.text(1), "host    gw.net      ");
    EXPECT_EQ(screen.cursor_column(), 8 + 2); // where the alternative's own cursor is
    EXPECT_EQ(value->prev, name);
    EXPECT_EQ(value->next->next, nullptr);
}

// The alternative's cursor is behind a text that was emptied while it was shown.
TEST_F(CSwapping, CursorFollowsATextThatBecameShorter)
{
    run(" \t\x15\x0cz");
    EXPECT_STREQ(host, "z");
    EXPECT_EQ(value->cursor + value->scroll, 1);
    EXPECT_EQ(screen.text(1), "host    z           ");
}

// The form opens with the focus on what its menu makes a label at once.
TEST_F(CSwapping, FocusLeavesWhatBecameALabel)
{
    char text[8];
    scobj *first = sc_newstrobj(2, 0, "text", text, sizeof text, 6, nullptr, nullptr);
    scobj *second = sc_newmenu(3, 0, three, 0, nullptr, 1, 5, 0, 0, nullptr, nullptr);
    second->flags |= SC_SWAP;
    second->shown[0] = first;
    second->slots[0][0] = sc_newlabel(2, 0, "label");
    sc_add(first, second);
    CKeys keys(" ");
    keys.end();
    EXPECT_EQ(sc_interact(stdscr, first), SC_INPUT_ENDED);
    EXPECT_EQ(screen.text(2).substr(0, 6), "label ");
    EXPECT_EQ(screen.text(3).substr(0, 5), "two  "); // the menu took the key
    sc_destroy(first);
}

TEST_F(CSwapping, ItemsWithoutAlternativeSwapNothing)
{
    menu->slots[0][2]->destroy(menu->slots[0][2]);
    menu->slots[0][2] = nullptr;
    sc_menuresync(menu, ten);
    run("      \t\t");
    EXPECT_EQ(screen.text(0).substr(8), "File        ");
}

TEST_F(CSwapping, SharedAlternativesAreReleasedOnce)
{
    menu->slots[0][3] = menu->slots[0][1];
    menu->slots[1][3] = value; // owned by the form
    // A menu among the alternatives: what is shown is a copy that only borrows its slots.
    scobj *inner = sc_newmenu(0, 8, three, 0, nullptr, 2, 5, 0, 0, nullptr, nullptr);
    inner->flags |= SC_SWAP;
    inner->slots[0][0] = sc_newlabel(4, 0, "inner");
    menu->slots[0][4] = inner;
    sc_menuresync(menu, ten);
    run("    \t");
    EXPECT_EQ(name->items, three);
}
