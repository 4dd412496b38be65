// Loaded in front of a daemon: its waits between two attempts to bind are cut to a tenth of a
// second, and the seconds that it asked for appended to the file that SLEEP_LOG names.
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

extern "C" unsigned sleep(unsigned seconds)
{
    constexpr useconds_t PAUSE_US = 100'000;
    if (FILE *log = std::fopen(std::getenv("SLEEP_LOG"), "a"); log != nullptr) {
        std::fprintf(log, "%u\n", seconds);
        std::fclose(log);
    }
    usleep(PAUSE_US);
    return 0;
}
