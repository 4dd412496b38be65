#include "flatlink/run_guard.h"

#include "flatlink/scratch_file.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fcntl.h>
#include <new>
#include <unistd.h>

using namespace flatlink;

static const char *guarded_path = nullptr;
static bool has_ended = false;
static bool lacked_memory = false;

bool flatlink::ran_out_of_memory()
{
    return lacked_memory;
}

void flatlink::report_out_of_memory()
{
    std::fprintf(stderr, "flatlink: out of memory; %s was not changed\n", guarded_path);
}

// Occupies each closed standard descriptor with one that can be neither read nor written: O_PATH on
// the root needs no device file, which a bare root may lack.
static void fill_standard_streams()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd)
        if (fcntl(fd, F_GETFD) < 0 && errno == EBADF && open("/", O_PATH) < 0)
            _exit(EXIT_FAILURE);
}

static void note_and_throw()
{
    lacked_memory = true;
    throw std::bad_alloc();
}

[[noreturn]] static void end_early()
{
    report_out_of_memory();
    cut_scratch_file();
    _exit(EXIT_FAILURE);
}

// Raises the signal again with its default action, so that the parent sees how the run ended.
static void end_by_signal(int number)
{
    cut_scratch_file();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

// Leaves a signal alone that the caller ignores.
static void catch_end(int number)
{
    struct sigaction action {
    };
    action.sa_handler = end_by_signal;
    action.sa_flags = SA_NODEFER;
    struct sigaction before {
    };
    if (sigaction(number, nullptr, &before) == 0 && before.sa_handler == SIG_DFL)
        sigaction(number, &action, nullptr);
}

// The terminate handler: bad_alloc may have left a noexcept function.
[[noreturn]] static void end_without_memory()
{
    if (lacked_memory)
        end_early();
    std::abort();
}

// The exit handler: the libraries exit with status 0 when memory is exhausted (outofcore).
static void check_end()
{
    if (!has_ended)
        end_early();
}

void flatlink::guard_run(const char *path)
{
    guarded_path = path;
    fill_standard_streams();
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    for (const int number : {SIGHUP, SIGINT, SIGTERM})
        catch_end(number);
    std::set_new_handler(note_and_throw);
    std::set_terminate(end_without_memory);
    std::atexit(check_end);
}

int flatlink::end_run(int status)
{
    has_ended = true;
    return status;
}
