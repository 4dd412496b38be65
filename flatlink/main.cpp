// flatlink <path>: replaces a firewall configuration database by its flat VPN data.
#include "flatlink/conversion.h"
#include "flatlink/records/records.h"
#include "flatlink/run_guard.h"

#include <cstddef>
#include <new>
#include <utility>

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
    const int status = run(argv[1]);
    // The end of the process frees them at once, instead of text by text.
    alignas(record_list<linkinfo>) static std::byte kept[sizeof(record_list<linkinfo>)];
    new (kept) record_list<linkinfo>(std::move(linkinfos));
    return end_run(status);
}
