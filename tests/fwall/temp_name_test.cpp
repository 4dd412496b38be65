#include "lib/fwall/temp_name.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

// A folder of its own as working directory, gone at the end.
struct own_folder {
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::path path;

    own_folder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "names-XXXXXX").string();
        path = mkdtemp(name.data());
        std::filesystem::current_path(path);
    }
    ~own_folder()
    {
        std::filesystem::current_path(before);
        std::filesystem::remove_all(path);
    }
    own_folder(const own_folder &) = delete;
    own_folder &operator=(const own_folder &) = delete;
};

static std::string last_digits(std::size_t count)
{
    const std::string number = std::string(count, '0') + std::to_string(getpid());
    return number.substr(number.size() - count);
}

static void touch(const std::string &name)
{
    std::ofstream(name).put('x');
}

TEST(Mktemp, PutsTheNumberOfTheProcess)
{
    const own_folder folder;
    static const struct {
        const char *label;
        std::string name;
        std::string want;
    } cases[] = {{"two digits", "aXX", "a" + last_digits(2)},
                 {"more digits than the number has", "aXXXXXXXXXXXX", "a" + last_digits(12)},
                 {"only the last run", "XXaXX", "XXa" + last_digits(2)},
                 {"nothing but X", "XXX", last_digits(3)},
                 {"nothing to replace", "free", "free"},
                 {"empty", "", ""},
                 {"in a folder", "./aX", "./a" + last_digits(1)},
                 {"in the root", "/no-such-name-XX", "/no-such-name-" + last_digits(2)}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        std::string name = row.name;
        EXPECT_EQ(mktemp(name.data()), name.data());
        EXPECT_EQ(name, row.want);
    }
}

TEST(Mktemp, GoesOnBehindTakenNames)
{
    const own_folder folder;
    const std::string digits = last_digits(2);
    // Each name is taken before the next is asked for.
    std::string wanted = "a" + digits;
    for (char c = 'a'; c <= 'z'; ++c) {
        std::string name = "aXX";
        ASSERT_NE(mktemp(name.data()), nullptr);
        EXPECT_EQ(name, wanted);
        touch(name);
        wanted = std::string("a") + c + digits[1];
    }
    std::string name = "aXX";
    ASSERT_NE(mktemp(name.data()), nullptr);
    EXPECT_EQ(name, wanted); // az
    touch(name);
    name = "aXX";
    ASSERT_NE(mktemp(name.data()), nullptr);
    EXPECT_EQ(name, "aaa");
}

TEST(Mktemp, FailsWhereNoNameIsLeft)
{
    const own_folder folder;
    for (char c = 'a'; c <= 'z'; ++c)
        touch(std::string("b") + c);
    touch("b" + last_digits(1));
    touch("taken");
    std::filesystem::create_symlink("nowhere", "link");
    static const struct {
        const char *label, *name;
        int error;
    } cases[] = {{"all names taken", "bX", EEXIST},
                 {"nothing to replace", "taken", EEXIST},
                 {"a link to nothing", "link", EEXIST},
                 {"no folder", "no/aXX", ENOENT},
                 {"no folder but a file", "taken/aXX", ENOTDIR}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        std::string name = row.name;
        errno = 0;
        EXPECT_EQ(mktemp(name.data()), nullptr);
        EXPECT_EQ(errno, row.error);
        name = row.name;
        errno = 0;
        EXPECT_EQ(mkstemp(name.data()), -1);
        EXPECT_EQ(errno, row.error);
    }
    EXPECT_FALSE(std::filesystem::exists("nowhere"));
}

TEST(Mkstemp, MakesANewFileOfTheOwner)
{
    const own_folder folder;
    touch("c" + last_digits(1));
    std::string name = "cX";
    const int fd = mkstemp(name.data());
    ASSERT_GE(fd, 0);
    EXPECT_EQ(name, "ca");
    struct stat status;
    ASSERT_EQ(fstat(fd, &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFREG | 0600});
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
    close(fd);
}
