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

CTerminal::CTerminal()
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
    running = true;
    savetty();
    cbreak();
    noecho();
}

void CTerminal::give_back()
{
    if (running)
        endwin();
    running = false;
}

CTerminal::~CTerminal()
{
    give_back();
    for (const int signal : ending_signals)
        std::signal(signal, SIG_DFL);
    if (no_input >= 0)
        close(no_input);
}

int CTerminal::interrupted()
{
    return ended_by;
}

void die_of(int signal)
{
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}
