// Loaded in front of a program: one allocation fails, or all from one on. FAIL_AT counts them from
// 1, a '+' after it stands for all that follow. COUNT_TO names a file that receives the count.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <netdb.h>

extern "C" void *__libc_malloc(std::size_t size);
extern "C" void *__libc_realloc(void *old, std::size_t size);

static long count = -1; // not counted before the program's start

static bool fails()
{
    static const char *text = std::getenv("FAIL_AT");
    char *rest = nullptr;
    const long failing = text != nullptr ? std::strtol(text, &rest, 10) : 0;
    if (count >= 0)
        ++count;
    if (failing == 0 || count < 0 || (*rest == '+' ? count < failing : count != failing))
        return false;
    errno = ENOMEM;
    return true;
}

extern "C" void *malloc(std::size_t size)
{
    return fails() ? nullptr : __libc_malloc(size);
}

extern "C" void *realloc(void *old, std::size_t size)
{
    return fails() ? nullptr : __libc_realloc(old, size);
}

// The C library's own look-up of names crashes when its first use finds no memory.
__attribute__((constructor)) static void start_count()
{
    (void)gethostbyname("first.invalid");
    count = 0;
}

__attribute__((destructor)) static void tell_count()
{
    if (const char *path = std::getenv("COUNT_TO"))
        if (std::FILE *file = std::fopen(path, "w"); file != nullptr) {
            std::fprintf(file, "%ld", count);
            std::fclose(file);
        }
}
