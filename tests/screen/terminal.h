// A terminal for tests: curses runs on a real pseudo-terminal, a small vt100 behind it keeps
// what a person would see, keys come through it or through a pipe and bells are counted.
#pragma once

#include <cstdio>
#include <curses.h>
#include <string>
#include <string_view>
#include <termios.h>
#include <utility>
#include <vector>

// Feeds descriptor 0 while it lives.
class CKeys
{
  public:
    explicit CKeys(std::string_view bytes = {});
    ~CKeys();
    CKeys(const CKeys &) = delete;
    CKeys &operator=(const CKeys &) = delete;
    void type(std::string_view bytes) const;
    void end(); // no more input

  private:
    int before, writer;
};

// Takes what goes to descriptor 2 while it lives.
class CBells
{
  public:
    CBells();
    ~CBells();
    CBells(const CBells &) = delete;
    CBells &operator=(const CBells &) = delete;
    int count(); // since the last call; -1 when something else was written

  private:
    int before, reader;
};

class CScreen
{
  public:
    CScreen(int rows, int columns);
    ~CScreen();
    CScreen(const CScreen &) = delete;
    CScreen &operator=(const CScreen &) = delete;

    void resize(int rows, int columns);      // the person pulls at the window
    void type(std::string_view bytes) const; // into the terminal, where no CKeys stands before it
    std::string text(int row);               // its characters, all columns
    std::string marks(int row);              // # where text() is in standout, else blank
    std::vector<std::string> picture();      // text() of all rows
    std::vector<std::string> marks_picture();
    int cursor_row();
    int cursor_column();
    bool as_before_curses() const; // the terminal's modes
    std::string unknown;           // sequences that the vt100 does not know; must stay empty

  private:
    void receive();
    void put(char byte);
    void control(char byte);
    void command(char last);
    void line_feed(bool down);
    void blank(int row, int from, int to);

    struct cell {
        char character = ' ';
        bool standout = false;
    };
    std::vector<std::vector<cell>> cells;
    int row = 0, column = 0;
    std::pair<int, int> saved;             // row and column
    int region_top = 0, region_bottom = 0; // of scrolling, both included
    bool wrap_next = false, standout = false;
    std::string sequence; // begun and not finished, without its escape
    bool in_sequence = false;
    int master, slave, input_before;
    termios modes_before = {};
    FILE *in, *out;
    SCREEN *screen;
};
