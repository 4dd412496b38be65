// flatlink <path>: replaces a firewall configuration database by its flat VPN data.
#include "flatlink/conversion.h"
#include "flatlink/run_guard.h"

#include <new>

using namespace flatlink;

static int run(const char *path)
try {
    return convert_database(path);
} catch (const std::bad_alloc &) {
    report_out_of_memory();
    return 1;
}

int main(int argc, char **argv)
{
    if (argc != 2)
        return 1;
    guard_run(argv[1]);
    return end_run(run(argv[1]));
}
