#include "lib/screen/form.h"

#include "lib/screen/keys.h"
#include "lib/screen/label.h"
#include "lib/screen/menu.h"
#include "lib/screen/strobj.h"
#include "tests/screen/terminal.h"

#include <cstring>
#include <gtest/gtest.h>

namespace
{

const char *const items[] = {"one", "two", "three", nullptr};

int run(scobj *head, const std::string &typed)
{
    CKeys keys(typed);
    keys.end();
    return sc_interact(stdscr, head);
}

struct log {
    int calls = 0, result = 0, redraw = 0;
};

int note(WINDOW * /*window*/, scobj * /*object*/, void *arg, int *redraw)
{
    log &seen = *static_cast<log *>(arg);
    ++seen.calls;
    EXPECT_EQ(*redraw, 0);
    *redraw = seen.redraw;
    return seen.result;
}

} // namespace

TEST(Form, WithoutFocusIsNotPainted)
{
    CScreen screen(4, 20);
    CBells bells;
    EXPECT_EQ(sc_interact(stdscr, nullptr), 0);
    EXPECT_EQ(bells.count(), 0);
    scobj *head = sc_add(sc_newlabel(0, 0, "label"), sc_newlabel(1, 0, "label"));
    mvwaddstr(stdscr, 0, 0, "as it was");
    wrefresh(stdscr);
    EXPECT_EQ(run(head, "\t"), SC_NO_FOCUS);
    EXPECT_EQ(bells.count(), 1);
    EXPECT_EQ(screen.text(0), "as it was           ");
    sc_destroy(head);
}

TEST(Form, OneObjectKeepsTheFocus)
{
    CScreen screen(4, 20);
    CBells bells;
    scobj *head = sc_add(sc_newlabel(0, 0, "label"), sc_newbutton(1, 2, "[ok]", nullptr, nullptr));
    EXPECT_EQ(run(head, "\t\t\r"), SC_INPUT_ENDED);
    EXPECT_EQ(bells.count(), 0);
    EXPECT_EQ(screen.marks(1), "  ####              ");
    EXPECT_EQ(screen.cursor_column(), 6);
    sc_destroy(head);
}

TEST(Form, FocusGoesRound)
{
    const sc_onkey_op by_sign = [](WINDOW *, scobj *, int key) -> int {
        return key == '<' ? SC_PREVIOUS : key == '>' ? SC_NEXT : 99;
    };
    static const struct {
        const char *keys;
        int row, result;
    } cases[] = {
        {"", 1, SC_INPUT_ENDED},    {">", 3, SC_INPUT_ENDED}, {">>", 4, SC_INPUT_ENDED},
        {">>>", 1, SC_INPUT_ENDED}, {"<", 4, SC_INPUT_ENDED}, {"<<", 3, SC_INPUT_ENDED},
        {"<<<", 1, SC_INPUT_ENDED}, {">?>", 3, SC_NO_FOCUS},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.keys);
        CScreen screen(6, 12);
        scobj *head = nullptr;
        for (int row = 0; row < 6; ++row) {
            const bool label = row == 0 || row == 2 || row == 5;
            head = sc_add(head, label ? sc_newlabel(row, 0, "label")
                                      : sc_newbutton(row, 0, "[button]", nullptr, nullptr));
            for (scobj *object = head; object != nullptr; object = object->next)
                object->onkey = object->onkey != nullptr ? by_sign : nullptr;
        }
        EXPECT_EQ(run(head, one.keys), one.result);
        for (int row = 0; row < 6; ++row)
            EXPECT_EQ(screen.marks(row), row == one.row ? "########    " : "            ");
        sc_destroy(head);
    }
}

TEST(Form, NoNeighbourGivesTheObjectOrNothing)
{
    CBells bells;
    scobj *label = sc_newlabel(0, 0, "");
    scobj *button = sc_newbutton(0, 0, "", nullptr, nullptr); // in no chain
    EXPECT_EQ(sc_next_focus(button, SC_PREVIOUS, label), button);
    EXPECT_EQ(sc_next_focus(label, SC_NEXT, label), nullptr);
    EXPECT_EQ(bells.count(), 2);
    sc_destroy(label);
    sc_destroy(button);
}

TEST(Form, CallbackRunsWhenATouchedObjectIsLeft)
{
    static const struct {
        const char *label;
        char kind; // field, menu, Menu with mark_all, button
        const char *keys;
        int calls, focus_row; // 0 the object, 1 the one behind
    } cases[] = {
        {"field left by Tab", 'f', "\t", 1, 1},
        {"field left by Enter", 'f', "\r", 1, 1},
        {"field typed into", 'f', "abc", 0, 0},
        {"field left twice", 'f', "a\t\tb\n", 2, 1},
        {"menu moved and left", 'm', " \t", 0, 1},
        {"menu entered stays", 'm', " \r", 1, 0},
        {"menu entered, then left", 'm', "\r\t", 1, 1},
        {"marking menu moved and left", 'M', " \t", 1, 1},
        {"marking menu left", 'M', "\t", 1, 1},
        {"button pressed stays", 'b', "\r\r", 2, 0},
        {"button left", 'b', "x\t", 0, 1},
    };
    for (const auto &one : cases) {
        for (const int result : {0, 5}) {
            SCOPED_TRACE(one.label);
            SCOPED_TRACE(result);
            CScreen screen(4, 20);
            const CBells bells;
            char text[8];
            log seen = {.result = result};
            scobj *head = nullptr;
            if (one.kind == 'f')
                head = sc_newstrobj(0, 0, nullptr, text, sizeof text, 5, note, &seen);
            else if (one.kind == 'b')
                head = sc_newbutton(0, 0, "[ok]", note, &seen);
            else
                head = sc_newmenu(0, 0, items, 0, nullptr, 1, 5, one.kind == 'M', 0, note, &seen);
            sc_add(head, sc_newbutton(1, 0, "[behind]", note, &seen));
            head->touched = head->next->touched = 1; // before they had the focus: forgotten
            const bool ends = result != 0 && one.calls > 0;
            EXPECT_EQ(run(head, one.keys), ends ? result : SC_INPUT_ENDED);
            EXPECT_EQ(seen.calls, ends ? 1 : one.calls);
            if (!ends) {
                EXPECT_EQ(screen.cursor_row(), one.focus_row);
            }
            sc_destroy(head);
        }
    }
}

TEST(Form, RepaintsWhenAskedTo)
{
    for (const bool by_key : {true, false}) {
        SCOPED_TRACE(by_key);
        CScreen screen(4, 20);
        char text[8];
        log seen = {.redraw = by_key ? 0 : 1};
        char status[] = "old";
        scobj *head = sc_newstrobj(0, 0, nullptr, text, sizeof text, 5, note, &seen);
        sc_add(sc_add(head, sc_newlabel(2, 1, status)),
               sc_newbutton(1, 0, "[b]", nullptr, nullptr));
        const auto key = [](WINDOW *window, scobj *object, int code) {
            mvwaddstr(window, 3, 0, "rubbish");
            std::memcpy(object->next->text, "new", 3);
            return strobj_key(window, object, code);
        };
        head->onkey = key;
        EXPECT_EQ(run(head, by_key ? "a\x12" : "a\t"), SC_INPUT_ENDED);
        EXPECT_EQ(screen.picture(),
                  (std::vector<std::string>{"a                   ", "[b]                 ",
                                            " new                ", "                    "}));
        EXPECT_EQ(screen.marks(0), by_key ? "#####               " : "                    ");
        EXPECT_EQ(screen.cursor_row(), by_key ? 0 : 1);
        sc_destroy(head);
    }
}

TEST(Form, SmallScreenShowsWhatFits)
{
    CScreen screen(3, 12);
    char text[32];
    scobj *head = sc_newstrobj(1, 8, "abcdefgh", text, sizeof text, 10, nullptr, nullptr);
    for (scobj *object :
         {sc_newlabel(0, 5, "beyond the edge"), sc_newlabel(9, 0, "below"),
          sc_newlabel(0, -2, "left"), sc_newbutton(2, 4, "[button]", nullptr, nullptr),
          sc_newmenu(2, -2, items, 0, nullptr, 5, 5, 0, 0, nullptr, nullptr)})
        sc_add(head, object);
    EXPECT_EQ(run(head, ""), SC_INPUT_ENDED);
    EXPECT_EQ(screen.picture(),
              (std::vector<std::string>{"     beyond ", "        abcd", "e   [button]"}));
    EXPECT_EQ(screen.cursor_row(), 1);
    EXPECT_EQ(screen.cursor_column(), 11); // as near as the screen has it
    sc_destroy(head);
}

TEST(Form, CentredLabelsAndControlCharacters)
{
    CScreen screen(3, 13);
    scobj *head = sc_add(sc_newclabel(0, "title"), sc_newlabel(1, 0, "a\x1b[2J\a\n\x9b\x7f"));
    sc_add(head, sc_newbutton(2, 0, nullptr, nullptr, nullptr));
    EXPECT_EQ(run(head, ""), SC_INPUT_ENDED);
    EXPECT_EQ(screen.text(0), "    title    ");
    EXPECT_EQ(screen.text(1), "a?[2J????    ");
    EXPECT_EQ(screen.unknown, "");
    sc_destroy(head);
}

namespace
{
CScreen *pulled_at = nullptr;
}

// The keys come from the terminal itself, whose size changes while the form waits.
TEST(Form, SizeChangeRepaintsAtTheNextKey)
{
    CScreen screen(3, 12);
    pulled_at = &screen;
    scobj *head = sc_newbutton(0, 0, "[button]", nullptr, nullptr);
    sc_add(sc_add(head, sc_newlabel(1, 6, "a long label")), sc_newlabel(4, 0, "below"));
    head->onkey = [](WINDOW *, scobj *, int key) -> int {
        if (key == 'q')
            return 99;
        EXPECT_EQ(pulled_at->text(1), "      a long");
        pulled_at->resize(5, 20);
        pulled_at->type("q");
        return SC_STAY;
    };
    screen.type("a");
    EXPECT_EQ(sc_interact(stdscr, head), SC_NO_FOCUS);
    EXPECT_EQ(LINES, 5);
    EXPECT_EQ(screen.text(1), "      a long label  ");
    EXPECT_EQ(screen.text(4), "below               ");
    sc_destroy(head);
}
