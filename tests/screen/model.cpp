#include "tests/screen/model.h"

#include <algorithm>

namespace
{

enum key : int {
    BACKSPACE = 8,
    ENTER = 10,
    CTRL_L = 12,
    CTRL_R = 18,
    CTRL_U = 21,
    RUBOUT = 127,
    UP = 1000,
    DOWN = 1001,
    RIGHT = 1002,
    LEFT = 1003,
    TAB = 1005,
    DELETE = 1009,
};

int length_of(const model_object &field)
{
    return static_cast<int>(field.text->size());
}
int place_of(const model_object &field)
{
    return field.cursor + field.scroll;
}
bool takes_keys(const model_object &object)
{
    return object.kind != model_object::LABEL;
}

} // namespace

CModel::CModel(int rows, int columns, std::vector<model_object> form)
    : picture(static_cast<std::size_t>(rows), std::string(static_cast<std::size_t>(columns), ' ')),
      marks(picture), objects(std::move(form))
{
}

void CModel::begin()
{
    while (!takes_keys(objects[focus]))
        ++focus;
    paint_all();
    keep_focus();
}

void CModel::press(int key)
{
    model_object &object = objects[focus];
    if (key == CTRL_L || key == CTRL_R) {
        paint_all();
    } else if (object.kind == model_object::FIELD) {
        object.touched = true;
        if (key == TAB || key == ENTER)
            move();
        else
            type(object, key);
    } else {
        object.touched = object.touched || key == ENTER || object.marks_all;
        if (key == TAB)
            move();
        else if (key == ENTER)
            leave();
        else if (object.kind == model_object::MENU)
            choose(object, key);
        else
            ++bells;
    }
    keep_focus();
}

void CModel::type(model_object &field, int key)
{
    const int at = place_of(field);
    if (key == CTRL_U) {
        field.text->clear();
        field.cursor = field.scroll = 0;
    } else if (key == BACKSPACE || key == DELETE || key == RUBOUT) {
        erase(field, key);
        return;
    } else if (key == LEFT && at > 0) {
        --(field.scroll > 0 ? field.scroll : field.cursor);
    } else if (key == RIGHT && at < length_of(field)) {
        ++(field.cursor + 1 < field.width ? field.cursor : field.scroll);
    } else if (key >= 32 && key < 127 && length_of(field) < field.room) {
        field.text->insert(static_cast<std::size_t>(at), 1, static_cast<char>(key));
        ++(field.cursor + 1 < field.width ? field.cursor : field.scroll);
    } else {
        ++bells;
    }
    paint(field, true);
}

void CModel::erase(model_object &field, int key)
{
    const int at = place_of(field);
    const bool at_end = at == length_of(field);
    const bool at_edge = field.cursor + 1 >= field.width;
    if (key == BACKSPACE && at > 0) {
        field.text->erase(static_cast<std::size_t>(at) - 1, 1);
        if (at_end && field.scroll > 0 && (at_edge || field.cursor == 0))
            --field.scroll;
        else if (field.cursor > 0)
            --field.cursor;
    } else if (!at_end) {
        field.text->erase(static_cast<std::size_t>(at), 1);
    } else if (field.scroll == 0 || !at_edge) {
        // The blank that delete paints may be the cell behind a field that is just full.
        put(field.y, field.x + field.cursor, "", 1, true);
    }
    paint(field, true);
}

void CModel::choose(model_object &menu, int key)
{
    const bool down = key == DOWN || key == ' ';
    const bool last = place_of(menu) + 1 >= static_cast<int>(menu.items.size());
    if ((!down && key != UP) || (down ? last : place_of(menu) == 0)) {
        ++bells;
    } else if (down ? menu.cursor + 1 < menu.height : menu.cursor > 0) {
        menu.cursor += down ? 1 : -1;
        paint_rows(menu, true);
    } else {
        menu.scroll += down ? 1 : -1;
        paint(menu, true);
    }
}

void CModel::leave()
{
    if (!objects[focus].calls || !objects[focus].touched)
        return;
    ++callbacks;
    objects[focus].touched = false;
    if (objects[focus].repaints)
        paint_all();
}

void CModel::move()
{
    leave();
    paint(objects[focus], false);
    do
        focus = (focus + 1) % objects.size();
    while (!takes_keys(objects[focus]));
    objects[focus].touched = false;
    paint(objects[focus], true);
}

// What is in focus may have become a label.
void CModel::keep_focus()
{
    if (takes_keys(objects[focus]))
        return;
    objects[focus].calls = false;
    move();
}

void CModel::paint_all()
{
    for (std::size_t row = 0; row < picture.size(); ++row)
        picture[row] = marks[row] = std::string(picture[row].size(), ' ');
    for (model_object &object : objects)
        paint(object, false);
    paint(objects[focus], true);
}

void CModel::paint(model_object &object, bool focused)
{
    const bool visible = object.y >= 0 && object.y < static_cast<int>(picture.size()) &&
                         object.x >= 0 && object.x < static_cast<int>(picture[0].size());
    if (object.kind == model_object::MENU) {
        const auto item = static_cast<std::size_t>(place_of(object));
        if (object.swaps >= 0 && item < object.alternatives.size()) {
            model_object &shown = objects[static_cast<std::size_t>(object.swaps)];
            shown = object.alternatives[item];
            paint(shown, focused);
        }
        paint_rows(object, focused);
    } else if (object.kind == model_object::FIELD) {
        if (place_of(object) > length_of(object)) {
            object.cursor = std::min(length_of(object), object.width);
            object.scroll = length_of(object) - object.cursor;
        }
        std::string text = object.text->substr(static_cast<std::size_t>(object.scroll));
        if (object.masked)
            text.assign(text.size(), 'X');
        put(object.y, object.x, text, object.width, focused);
        place_cursor(object.y, object.x + object.cursor);
    } else if (visible) {
        put(object.y, object.x, *object.text, length_of(object),
            focused && object.kind == model_object::BUTTON);
    }
}

void CModel::paint_rows(const model_object &menu, bool focused)
{
    const auto row_of = [&](int row, bool standout) {
        const auto item = static_cast<std::size_t>(menu.scroll + row);
        std::string text = item < menu.items.size() ? menu.items[item] : "";
        const int spare = menu.width - static_cast<int>(text.size());
        if (menu.centred && spare > 0)
            text.insert(0, static_cast<std::size_t>(spare / 2), ' ');
        put(menu.y + row, menu.x, text, menu.width, standout);
    };
    for (int row = 0; row < menu.height; ++row)
        row_of(row, false);
    if (focused)
        row_of(menu.cursor, true);
}

void CModel::put(int y, int x, std::string text, int width, bool standout)
{
    text.resize(static_cast<std::size_t>(width), ' ');
    for (int column = 0; column < width; ++column) {
        const int at = x + column;
        if (y < 0 || y >= static_cast<int>(picture.size()) || at < 0 ||
            at >= static_cast<int>(picture[0].size()))
            continue;
        const char character = text[static_cast<std::size_t>(column)];
        const auto line = static_cast<std::size_t>(y);
        const auto cell = static_cast<std::size_t>(at);
        picture[line][cell] = character < 32 ? '?' : character;
        marks[line][cell] = standout ? '#' : ' ';
    }
    place_cursor(y, x + width);
}

void CModel::place_cursor(int y, int x)
{
    cursor_row = std::clamp(y, 0, static_cast<int>(picture.size()) - 1);
    cursor_column = std::clamp(x, 0, static_cast<int>(picture[0].size()) - 1);
}
