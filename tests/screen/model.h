// What a form should look like after each key, told the plain way: strings that are edited as
// strings, and a canvas on which the object in focus is painted anew after every key. It shares
// nothing with the library but the numbers of the keys.
#pragma once

#include <string>
#include <vector>

struct model_object {
    enum sort { LABEL, BUTTON, FIELD, MENU } kind = LABEL;
    int y = 0, x = 0, width = 0, height = 0;
    bool masked = false, centred = false, marks_all = false;
    std::string *text = nullptr; // an object and its copies share it
    int room = 0;                // characters that fit the field
    int cursor = 0, scroll = 0;  // a menu's top is its scroll
    std::vector<std::string> items;
    int swaps = -1; // the object of the form that the menu turns into its alternatives
    std::vector<model_object> alternatives;
    bool calls = false, repaints = false; // has a callback; what that asks for
    bool touched = false;
};

class CModel
{
  public:
    CModel(int rows, int columns, std::vector<model_object> form);
    void begin(); // the first picture
    void press(int key);

    std::vector<std::string> picture, marks; // as CScreen gives them
    int cursor_row = 0, cursor_column = 0;
    int bells = 0, callbacks = 0;

  private:
    void paint_all();
    void paint(model_object &object, bool focused);
    void paint_rows(const model_object &menu, bool focused);
    void put(int y, int x, std::string text, int width, bool standout);
    void place_cursor(int y, int x);
    void leave();
    void move();
    void keep_focus();
    void type(model_object &field, int key);
    void erase(model_object &field, int key);
    void choose(model_object &menu, int key);

    std::vector<model_object> objects;
    std::size_t focus = 0;
};
