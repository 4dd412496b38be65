// make_data settings LEAVES flat|shuffled|sections|tags > FILE
// make_data database SITES OBJECTS > FILE
#include "bench/generate.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

static constexpr struct {
    std::string_view word;
    notation form;
} notations[] = {{"flat", notation::FLAT},
                 {"shuffled", notation::SHUFFLED},
                 {"sections", notation::SECTIONS},
                 {"tags", notation::TAGS}};

static int write_out(const std::string &text)
{
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}

int main(int argc, char **argv)
{
    if (argc == 4 && std::string_view(argv[1]) == "settings")
        for (const auto &row : notations)
            if (row.word == argv[3])
                return write_out(make_settings(std::strtoul(argv[2], nullptr, 10), row.form));
    if (argc == 4 && std::string_view(argv[1]) == "database")
        return write_out(make_database({.sites = std::strtoul(argv[2], nullptr, 10),
                                        .objects = std::strtoul(argv[3], nullptr, 10)}));
    std::fprintf(stderr, "usage: make_data settings LEAVES NOTATION | database SITES OBJECTS\n");
    return 2;
}
