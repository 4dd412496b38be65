// Random keys on random forms, with the terminal's picture compared to the model's after every
// key.
#include "lib/screen/form.h"
#include "lib/screen/keys.h"
#include "lib/screen/label.h"
#include "lib/screen/menu.h"
#include "lib/screen/strobj.h"
#include "tests/screen/model.h"
#include "tests/screen/terminal.h"

#include <array>
#include <deque>
#include <gtest/gtest.h>
#include <random>

namespace
{

constexpr int ROWS = 12, COLUMNS = 30;
constexpr int ROWS_EACH = 3;
constexpr int KEYS_EACH = 250;

struct key_row {
    int key;
    const char *bytes;
};

// Often enough is what makes a play go far: Tab and the arrows stand twice.
const key_row keys[] = {
    {'a', "a"},       {'B', "B"},       {'.', "."},     {' ', " "},       {'~', "~"},
    {8, "\x08"},      {8, "\x08"},      {127, "\x7f"},  {1009, "\x04"},   {21, "\x15"},
    {10, "\n"},       {10, "\r"},       {12, "\x0c"},   {18, "\x12"},     {1000, "\x1b[A"},
    {1000, "\x10"},   {1001, "\x1b[B"}, {1001, "\x0e"}, {1002, "\x1bOC"}, {1002, "\x06"},
    {1003, "\x1bOD"}, {1003, "\x02"},   {1003, "\x02"}, {1005, "\t"},     {1005, "\t"},
    {1, "\x01"},      {200, "\xc8"},    {'c', "c"},     {'d', "d"},       {'e', "e"},
};

const std::vector<std::string> words = {"one", "second item", "", "\x1b[7m", "five", "six"};

// One form twice: as the library's objects and as the model's.
class CPlay
{
  public:
    explicit CPlay(unsigned seed) : dice(seed), model(ROWS, COLUMNS, build()) {}
    ~CPlay() { sc_destroy(head); }
    CPlay(const CPlay &) = delete;
    CPlay &operator=(const CPlay &) = delete;
    void run();

  private:
    int below(int limit) { return static_cast<int>(dice() % static_cast<unsigned>(limit)); }
    std::vector<model_object> build();
    scobj *make(model_object &told, int y);
    scobj *make_field(model_object &told);
    scobj *make_menu(model_object &told);
    void check();
    void follow(); // lets the model press what the library has been given
    template <sc_onkey_op HANDLER> static int watched(WINDOW *window, scobj *object, int key);

    static CPlay *running;
    std::mt19937 dice;
    scobj *head = nullptr;
    std::deque<std::string> texts;
    std::deque<std::array<char, 16>> buffers;
    std::vector<std::pair<const char *, const std::string *>> fields;
    std::deque<std::vector<const char *>> lists;
    std::vector<int> pressed;
    std::size_t next = 0;
    int callbacks = 0, bells = 0;
    CScreen screen{ROWS, COLUMNS};
    CBells heard;
    CModel model;
};

CPlay *CPlay::running = nullptr;

// Called before the object handles a key: the state that the keys before have left is final.
template <sc_onkey_op HANDLER> int CPlay::watched(WINDOW *window, scobj *object, int key)
{
    running->follow();
    EXPECT_EQ(running->pressed.at(running->next), key);
    running->model.press(running->pressed.at(running->next++));
    return HANDLER(window, object, key);
}

scobj *CPlay::make_field(model_object &told)
{
    told.kind = model_object::FIELD;
    told.width = below(12);
    told.masked = told.width > 0 && below(3) == 0;
    told.room = below(15);
    texts.push_back(std::string("initial text").substr(0, dice() % 13));
    const std::string initial = texts.back();
    texts.back().resize(std::min(texts.back().size(), static_cast<std::size_t>(told.room)));
    told.text = &texts.back();
    told.cursor = std::min(told.width, static_cast<int>(texts.back().size()));
    told.scroll = static_cast<int>(texts.back().size()) - told.cursor;
    buffers.emplace_back();
    fields.emplace_back(buffers.back().data(), told.text);
    scobj *field =
        sc_newstrobj(told.y, told.x, initial.c_str(), buffers.back().data(), told.room + 1,
                     told.masked ? -told.width : told.width, nullptr, nullptr);
    field->onkey = watched<strobj_key>;
    return field;
}

scobj *CPlay::make_menu(model_object &told)
{
    told.kind = model_object::MENU;
    told.items.assign(words.begin(), words.begin() + below(7));
    told.height = 1 + below(ROWS_EACH);
    told.width = below(14);
    told.centred = below(2) == 0;
    told.marks_all = below(2) == 0;
    const int start = below(8);
    told.scroll = start >= told.height ? start - told.height + 1 : 0;
    lists.emplace_back();
    for (std::size_t item = 0; item < told.items.size(); ++item)
        lists.back().push_back(words[item].c_str());
    lists.back().push_back(nullptr);
    scobj *menu = sc_newmenu(told.y, told.x, lists.back().data(), start, nullptr, told.height,
                             told.width, told.marks_all, told.centred, nullptr, nullptr);
    menu->onkey = watched<menu_key>;
    return menu;
}

scobj *CPlay::make(model_object &told, int y)
{
    told.y = y;
    told.x = below(COLUMNS + 4) - 4;
    scobj *object = nullptr;
    const int kind = below(6);
    if (kind < 2) {
        object = make_menu(told);
    } else if (kind < 4) {
        object = make_field(told);
    } else {
        told.kind = kind == 4 ? model_object::BUTTON : model_object::LABEL;
        texts.push_back(words[dice() % words.size()]);
        told.text = &texts.back();
        object = kind == 4 ? sc_newbutton(y, told.x, told.text->c_str(), nullptr, nullptr)
                           : sc_newlabel(y, told.x, told.text->c_str());
        if (kind == 4)
            object->onkey = watched<button_key>;
    }
    told.calls = below(2) == 0;
    told.repaints = told.calls && below(2) == 0;
    if (told.calls)
        object->callback = [](WINDOW *, scobj *, void *arg, int *redraw) {
            ++running->callbacks;
            *redraw = arg != nullptr ? 1 : 0;
            return 0;
        };
    object->callback_arg = told.repaints ? this : nullptr;
    return object;
}

std::vector<model_object> CPlay::build()
{
    const auto count = static_cast<std::size_t>(2 + below(4));
    std::vector<model_object> form(count);
    std::vector<scobj *> objects;
    for (std::size_t index = 0; index < count; ++index)
        objects.push_back(make(form[index], static_cast<int>(index) * ROWS_EACH));
    // The last one takes keys whatever it becomes meanwhile: a form without focus has no play.
    objects.push_back(sc_newbutton(ROWS - 1, 0, "[end]", nullptr, nullptr));
    objects.back()->onkey = watched<button_key>;
    form.emplace_back();
    texts.emplace_back("[end]");
    form.back().kind = model_object::BUTTON;
    form.back().y = ROWS - 1;
    form.back().text = &texts.back();
    for (scobj *object : objects)
        head = sc_add(head, object);
    const std::size_t other = 1 + dice() % (count - 1);
    if (form[0].kind == model_object::MENU) {
        form[0].swaps = static_cast<int>(other);
        objects[0]->flags |= SC_SWAP;
        objects[0]->shown[0] = objects[other];
        for (int item = 0; item < SC_SLOT_ROOM; ++item)
            objects[0]->slots[0][item] = make(form[0].alternatives.emplace_back(), form[other].y);
    }
    return form;
}

void CPlay::check()
{
    EXPECT_EQ(screen.picture(), model.picture);
    EXPECT_EQ(screen.marks_picture(), model.marks);
    EXPECT_EQ(std::pair(screen.cursor_row(), screen.cursor_column()),
              std::pair(model.cursor_row, model.cursor_column));
    bells += heard.count();
    EXPECT_EQ(bells, model.bells);
    EXPECT_EQ(callbacks, model.callbacks);
    EXPECT_EQ(screen.unknown, "");
    for (const auto &[buffer, text] : fields)
        EXPECT_EQ(buffer, *text);
}

void CPlay::follow()
{
    if (next == 0)
        model.begin();
    // The form keeps these to itself, so they are caught up with here.
    while (next < pressed.size() && (pressed[next] == 12 || pressed[next] == 18))
        model.press(pressed[next++]);
    check();
}

void CPlay::run()
{
    running = this;
    CKeys typed;
    for (int count = 0; count < KEYS_EACH; ++count) {
        const key_row &row = keys[dice() % std::size(keys)];
        pressed.push_back(row.key);
        typed.type(row.bytes);
    }
    typed.end();
    EXPECT_EQ(sc_interact(stdscr, head), SC_INPUT_ENDED);
    follow();
    EXPECT_EQ(next, pressed.size());
}

} // namespace

TEST(Play, EveryPictureIsTheModels)
{
    for (unsigned seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE(seed);
        CPlay(seed).run();
        if (HasFailure())
            break;
    }
}
