// A screen for tests: what curses has last sent to the terminal is read from its own picture of
// it. Keys come through a pipe, and bells are counted. How it looks on a real terminal is for
// tests/system/form_walk.py.
#pragma once

#include "lib/screen/form.h"

#include <cstdint>
#include <cstdio>
#include <curses.h>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

// Present under the sanitizers only.
extern "C" void __sanitizer_set_report_fd(void *fd) __attribute__((weak));

inline int must(int result)
{
    if (result < 0)
        throw std::runtime_error("the system refused a test its pipe or terminal");
    return result;
}

// Gives a standard descriptor one end of a pipe while it lives; the test has the other.
class piped_stream
{
  public:
    explicit piped_stream(int fd) : place(fd), before(fcntl(fd, F_DUPFD_CLOEXEC, 3))
    {
        int ends[2];
        must(pipe2(ends, O_CLOEXEC));
        const int given = fd == STDIN_FILENO ? 0 : 1;
        must(dup2(ends[given], fd));
        close(ends[given]);
        other_end = ends[1 - given];
    }
    ~piped_stream()
    {
        end();
        if (before >= 0)
            dup2(before, place);
        close(before);
    }
    piped_stream(const piped_stream &) = delete;
    piped_stream &operator=(const piped_stream &) = delete;
    void end()
    {
        close(other_end);
        other_end = -1;
    }

  protected:
    int place, before, other_end;
};

struct typed_keys : piped_stream {
    explicit typed_keys(std::string_view bytes = {}) : piped_stream(STDIN_FILENO) { type(bytes); }
    void type(std::string_view bytes) const
    {
        must(static_cast<int>(write(other_end, bytes.data(), bytes.size())));
    }
};

struct rung_bells : piped_stream {
    rung_bells() : piped_stream(STDERR_FILENO)
    {
        must(fcntl(other_end, F_SETFL, O_NONBLOCK));
        report_to(before);
    }
    ~rung_bells() { report_to(STDERR_FILENO); }
    static void report_to(std::intptr_t fd)
    {
        if (__sanitizer_set_report_fd != nullptr)
            __sanitizer_set_report_fd(reinterpret_cast<void *>(fd));
    }
    int count() const // since the last call; -1 when something else was written
    {
        int bells = 0;
        for (char byte; read(other_end, &byte, 1) == 1; ++bells)
            if (byte != 7)
                return -1;
        return bells;
    }
};

class test_screen
{
  public:
    test_screen(int rows, int columns)
    {
        if (screen_ == nullptr)
            throw std::runtime_error("no vt100 in this machine's terminal descriptions");
        resize_term(rows, columns);
    }
    ~test_screen()
    {
        endwin();
        delscreen(screen_);
        (void)std::fclose(nowhere_);
    }
    test_screen(const test_screen &) = delete;
    test_screen &operator=(const test_screen &) = delete;

    // The rows with | after each, standout in {}, without blanks and empty rows at the end.
    static std::string picture()
    {
        const int y = getcury(curscr);
        const int x = getcurx(curscr);
        std::string rows;
        for (int row = 0; row < getmaxy(curscr); ++row) {
            bool marked = false;
            for (int column = 0; column < getmaxx(curscr); ++column) {
                const chtype cell = mvwinch(curscr, row, column);
                if (((cell & A_STANDOUT) != 0) != marked)
                    rows += marked ? '}' : '{';
                marked = (cell & A_STANDOUT) != 0;
                rows += static_cast<char>(cell & A_CHARTEXT);
            }
            rows += marked ? "}" : "";
            rows.erase(rows.find_last_not_of(' ') + 1);
            rows += '|';
        }
        wmove(curscr, y, x); // reading has moved it
        return rows.substr(0, rows.find_last_not_of('|') + 1);
    }
    static std::string cursor() // row,column
    {
        return std::to_string(getcury(curscr)) + "," + std::to_string(getcurx(curscr));
    }

    const rung_bells bells;

  private:
    std::FILE *nowhere_ = std::fopen("/dev/null", "we");
    SCREEN *screen_ = newterm("vt100", nowhere_, stdin);
};

// Runs a form with keys, after which input ends.
inline int run(scobj *head, std::string_view typed)
{
    typed_keys keys(typed);
    keys.end();
    return sc_interact(stdscr, head);
}
