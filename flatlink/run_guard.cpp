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

// A descriptor that can be neither read nor written, and needs no device, holds each free place.
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

// Ends as the signal would have ended the process, which cannot go on to write.
static void end_by_signal(int number)
{
    cut_scratch_file();
    std::signal(number, SIG_DFL);
    std::raise(number);
}

// One that the caller ignores stays ignored.
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

// Memory may be short where no exception may pass.
[[noreturn]] static void end_without_memory()
{
    if (lacked_memory)
        end_early();
    std::abort();
}

// The libraries end a process without memory with status 0.
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
