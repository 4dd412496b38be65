// A netperm-table in a folder of its own, set as the one to read; gone at the end of the block.
#pragma once

#include "lib/fwall/table/config.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

struct table_file {
    std::filesystem::path folder;
    std::string path;

    explicit table_file(std::string_view text)
    {
        std::string name = (std::filesystem::temp_directory_path() / "table-XXXXXX").string();
        folder = mkdtemp(name.data());
        path = folder / "netperm-table";
        write(text);
        cfg_setpfile(path.c_str());
    }

    ~table_file()
    {
        cfg_setpfile(nullptr);
        std::filesystem::remove_all(folder);
    }

    table_file(const table_file &) = delete;
    table_file &operator=(const table_file &) = delete;

    void write(std::string_view text) const { std::ofstream(path, std::ios::binary) << text; }
};
