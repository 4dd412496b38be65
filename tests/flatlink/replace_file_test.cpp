#include "flatlink/replace_file.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>

using namespace flatlink;

// The file changes between its opening and its replacement, or its lock.
TEST(ReplaceFile, LeavesWhatAnotherProgramHasChanged)
{
    const std::string folder = testing::TempDir() + "replace_" + std::to_string(getpid()) + "/";
    std::filesystem::create_directory(folder);
    const std::string path = folder + "file", other = folder + "other";
    const auto write = [](const std::string &name) { std::ofstream(name, std::ios::app) << "x"; };
    const struct {
        const char *label;
        bool is_there;
        std::function<void()> change;
        bool is_refused;
    } cases[] = {
        {"nothing", true, [] {}, false},
        {"longer", true, [&] { write(path); }, true},
        {"touched", true, [&] { std::filesystem::last_write_time(path, {}); }, true},
        {"replaced", true, [&] { write(other), std::filesystem::rename(other, path); }, true},
        {"removed", true, [&] { std::filesystem::remove(path); }, true},
        {"made", false, [&] { write(path); }, true},
        {"still missing", false, [] {}, false},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        std::filesystem::remove(path);
        if (row.is_there)
            write(path);
        plain_file file;
        ASSERT_FALSE(open_plain_file(path.c_str(), file));
        row.change();
        EXPECT_EQ(static_cast<bool>(lock_plain_file(file)), row.is_refused && row.is_there);
        replacement done = replacement::NONE;
        const fault found = replace_file(
            file, "new\n", [] { return fault{EIO}; }, done);
        EXPECT_EQ(static_cast<bool>(found), row.is_refused) << found.words();
        std::string text;
        std::getline(std::ifstream(path), text);
        EXPECT_EQ(text == "new", !row.is_refused) << text;
    }
    std::filesystem::remove_all(folder);
}
