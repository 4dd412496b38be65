#include "lib/screen/menu.h"

#include "lib/screen/label.h"
#include "lib/screen/strobj.h"
#include "tests/screen/terminal.h"

#include <gtest/gtest.h>

namespace
{

const char *const three[] = {"one", "two", "three", nullptr};
const char *const ten[] = {"i0", "i1", "i2", "i3", "i4", "i5", "i6", "i7", "i8", "i9", nullptr};

} // namespace

// A menu that decides about a label and a field beside it; one button after them.
class Swapping : public testing::Test
{
  protected:
    Swapping()
    {
        static const char *const kinds[] = {"file", "host", "none", nullptr};
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
    ~Swapping() override { sc_destroy(head); }

    test_screen screen{5, 20};
    char file[16], host[16];
    scobj *head, *menu, *name, *value;
};

TEST_F(Swapping, WaitsForTheNextPaintAndMarksTheFirst)
{
    run(head, " ");
    EXPECT_EQ(screen.picture(), "file    {File}|{host }   log|none|[ok]");
    run(head, "\t");
    EXPECT_EQ(screen.picture(), "file    Host|host    {gw    }|none|[ok]");
}

TEST_F(Swapping, TextStaysInItsBuffer)
{
    run(head, " \t.net\t\t \t"); // host, typed into, round to the menu, none
    EXPECT_STREQ(host, "gw.net");
    EXPECT_EQ(screen.picture(), "file|host    (none)|none|{[ok]}");
    run(head, "\x10\t"); // host again
    EXPECT_EQ(screen.picture(), "file    Host|host    {gw.net}|none|[ok]");
    EXPECT_EQ(screen.cursor(), "1,10"); // where the alternative's own cursor is
    // After a text that was emptied while it was shown, the cursor comes back to it.
    run(head, "\t\x15\x0cz");
    EXPECT_STREQ(host, "z");
    EXPECT_EQ(screen.cursor(), "1,9");
}

TEST_F(Swapping, SharedAlternativesAreReleasedOnce)
{
    menu->slots[0][3] = menu->slots[0][1];
    menu->slots[1][3] = value; // owned by the form
    // A menu among the alternatives: what is shown is a copy that only borrows its slots.
    scobj *inner = sc_newmenu(0, 8, three, 0, nullptr, 2, 5, 0, 0, nullptr, nullptr);
    inner->flags |= SC_SWAP;
    inner->slots[0][0] = sc_newlabel(4, 0, "inner");
    menu->slots[0][4] = inner;
    sc_menuresync(menu, ten);
    run(head, "    \t");
    EXPECT_EQ(name->items, three);
}
