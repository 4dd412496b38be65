#include "lib/screen/form.h"

#include "lib/screen/label.h"
#include "lib/screen/menu.h"
#include "lib/screen/strobj.h"
#include "tests/screen/terminal.h"

#include <gtest/gtest.h>

static const char *const items[] = {"one", "two", "three", nullptr};

TEST(Form, WithoutFocusIsNotPainted)
{
    const test_screen screen(4, 20);
    EXPECT_EQ(sc_interact(stdscr, nullptr), 0);
    EXPECT_EQ(screen.bells.count(), 0);
    scobj *head = sc_add(sc_newlabel(0, 0, "label"), sc_newlabel(1, 0, "label"));
    mvwaddstr(stdscr, 0, 0, "as it was");
    wrefresh(stdscr);
    EXPECT_EQ(run(head, "\t"), SC_NO_FOCUS);
    EXPECT_EQ(screen.bells.count(), 1);
    EXPECT_EQ(screen.picture(), "as it was");
    sc_destroy(head);
}

TEST(Form, FocusGoesRound)
{
    static const struct {
        const char *keys, *picture;
        int result = SC_INPUT_ENDED;
    } cases[] = {{"", "A|{b}|C|d|E"},  {">", "A|b|C|{d}|E"},  {">>", "A|{b}|C|d|E"},
                 {"<", "A|b|C|{d}|E"}, {"<<", "A|{b}|C|d|E"}, {">?>", "A|b|C|{d}|E", SC_NO_FOCUS}};
    for (const auto &one : cases) {
        SCOPED_TRACE(one.keys);
        const test_screen screen(5, 12);
        scobj *head = nullptr;
        int row = 0;
        for (const char *text : {"A", "b", "C", "d", "E"}) {
            scobj *object = sc_newlabel(row, 0, text);
            if (row++ % 2 == 1) {
                object->draw = button_draw;
                object->onkey = [](WINDOW *, scobj *, int key) -> int {
                    return key == '<' ? SC_PREVIOUS : key == '>' ? SC_NEXT : 99;
                };
            }
            head = sc_add(head, object);
        }
        EXPECT_EQ(run(head, one.keys), one.result);
        EXPECT_EQ(screen.picture(), one.picture);
        sc_destroy(head);
    }
}

TEST(Form, CallbackRunsWhenATouchedObjectIsLeft)
{
    static std::string calls; // the names of the objects
    static int result;
    const sc_callback_op note = [](WINDOW *, scobj *, void *name, int *redraw) {
        calls += static_cast<const char *>(name);
        EXPECT_EQ(*redraw, 0);
        return result;
    };
    static const struct {
        const char *keys, *calls;
        int focus_row, result = 0;
    } cases[] = {
        {"abc", "", 0},         {"\t", "f", 1},           {"\r", "f", 1},
        {"\t \t", "f", 2},      {"\t \r", "fm", 1},       {"\t\r\t", "fm", 2},
        {"\t\t \t", "fM", 3},   {"\t\t\t", "fM", 3},      {"\t\t\t\r\r", "fMbb", 3},
        {"\t\t\tx\t", "fM", 0}, {"\t\t\t\t\t", "fMf", 1}, {"a\t", "f", 0, 5},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.keys);
        const test_screen screen(4, 20);
        char text[8];
        const auto arg = [](const char *name) { return const_cast<char *>(name); };
        scobj *head = sc_newstrobj(0, 0, nullptr, text, sizeof text, 5, note, arg("f"));
        sc_add(head, sc_newmenu(1, 0, items, 0, nullptr, 1, 5, 0, 0, note, arg("m")));
        sc_add(head, sc_newmenu(2, 0, items, 0, nullptr, 1, 5, 1, 0, note, arg("M")));
        sc_add(head, sc_newbutton(3, 0, "[ok]", note, arg("b")));
        head->touched = head->next->touched = 1; // before they had the focus: reset
        calls.clear();
        result = one.result;
        EXPECT_EQ(run(head, one.keys), result != 0 ? result : SC_INPUT_ENDED);
        EXPECT_EQ(calls, one.calls);
        EXPECT_EQ(screen.cursor()[0] - '0', one.focus_row);
        sc_destroy(head);
    }
}

TEST(Form, RepaintsWhenAskedTo)
{
    const sc_callback_op ask = [](WINDOW *, scobj *, void *, int *redraw) {
        *redraw = 1;
        return 0;
    };
    for (const char *keys : {"a\x12", "\r"}) { // Ctrl-R; the callback
        SCOPED_TRACE(keys);
        const test_screen screen(4, 20);
        char status[] = "old";
        scobj *head = sc_newbutton(1, 0, "[b]", ask, nullptr);
        sc_add(head, sc_newclabel(2, status));
        head->onkey = [](WINDOW *window, scobj *object, int key) {
            mvwaddstr(window, 3, 0, "rubbish");
            object->next->text[0] = 'O';
            return key == 'a' ? 0 : button_key(window, object, key);
        };
        EXPECT_EQ(run(head, keys), SC_INPUT_ENDED);
        EXPECT_EQ(screen.picture(), "|{[b]}|         Old");
        sc_destroy(head);
    }
}
