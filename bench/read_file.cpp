// read_file import|export|flat|sections|tags FILE: reads a settings file with the import, or with
// the lower bound for its notation, and exits without freeing anything; export also writes it back.
// For scripts that time processes.
#include "bench/lower_bound.h"
#include "lib/frag/export/export.h"
#include "lib/frag/import/import.h"
#include "lib/frag/tree/symbol.h"

#include <cstdio>
#include <string_view>
#include <unistd.h>

static std::size_t import_file(const char *path)
{
    return importffile(path, &def_database, 0) == 0 ? 1 : 0;
}

static std::size_t export_file(const char *path)
{
    return import_file(path) != 0 && exportffile(path, &def_database, EXPORT_FLAT) == 0 ? 1 : 0;
}

static constexpr struct {
    std::string_view word;
    std::size_t (*read)(const char *path);
} readers[] = {
    {"import", import_file},      {"export", export_file}, {"flat", bound_flat},
    {"sections", bound_sections}, {"tags", bound_tags},
};

int main(int argc, char **argv)
{
    if (argc == 3)
        for (const auto &row : readers)
            if (row.word == argv[1])
                _exit(row.read(argv[2]) > 0 ? 0 : 1);
    std::fprintf(stderr, "usage: read_file import|export|flat|sections|tags FILE\n");
    return 2;
}
