#include "examples/rule-form/terminal.h"

#include <csignal>
#include <curses.h>
#include <fcntl.h>
#include <unistd.h>

static const int ending_signals[] = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

static volatile std::sig_atomic_t ended_by = 0;
static volatile std::sig_atomic_t no_input = -1; // a descriptor at its end

// The form reads descriptor 0: a read in progress is broken off, and any later one finds the end.
static void end_input(int signal)
{
    ended_by = signal;
    dup2(no_input, STDIN_FILENO);
}

form_terminal::form_terminal()
{
    if (isatty(STDIN_FILENO) == 0 || isatty(STDOUT_FILENO) == 0)
        return;
    no_input = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (no_input < 0)
        return;
    struct sigaction caught = {};
    caught.sa_handler = end_input; // without SA_RESTART: the read must not go on
    for (const int signal : ending_signals)
        sigaction(signal, &caught, nullptr);
    if (newterm(nullptr, stdout, stdin) == nullptr)
        return;
    running_ = true;
    savetty();
    cbreak();
    noecho();
}

void form_terminal::give_back()
{
    if (running_)
        endwin();
    running_ = false;
}

form_terminal::~form_terminal()
{
    give_back();
    for (const int signal : ending_signals)
        std::signal(signal, SIG_DFL);
    if (no_input >= 0)
        close(no_input);
}

int form_terminal::interrupted()
{
    return ended_by;
}

void die_of(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}
