#include "lib/fwall/serve/temp_name.h"

#include "tests/fwall/table_file.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace flatlink;

// Names in a folder of its own, which has one file.
class TempName : public testing::Test
{
  protected:
    table_file taken{""};

    // The name after the folder; else the error.
    std::string made(const std::string &pattern) const
    {
        std::string name = taken.folder / pattern;
        errno = 0;
        return make_temp_name(name.data()) == nullptr
                   ? strerrorname_np(errno)
                   : name.substr(taken.folder.string().size() + 1);
    }
    void touch(const std::string &name) const { std::ofstream(taken.folder / name).put('x'); }
};

static std::string last_digits(std::size_t count)
{
    const std::string number = std::string(count, '0') + std::to_string(getpid());
    return number.substr(number.size() - count);
}

TEST_F(TempName, HasTheNumberOfTheProcess)
{
    EXPECT_EQ(made("aXXXXXXXXXXXX"), "a" + last_digits(12));
    EXPECT_EQ(made("XXaXX"), "XXa" + last_digits(2)); // only the last run
    EXPECT_EQ(made("free"), "free");
    EXPECT_EQ(made("netperm-table"), "EEXIST");
    EXPECT_EQ(made("netperm-table/aXX"), "ENOTDIR");
    std::filesystem::create_symlink("nowhere", taken.folder / "link");
    EXPECT_EQ(made("link"), "EEXIST");
    char empty[] = "";
    EXPECT_STREQ(make_temp_name(empty), "");
}

TEST_F(TempName, SkipsTakenNames)
{
    touch(made("aXX"));
    for (char c = 'a'; c <= 'z'; ++c) {
        touch(made("bX"));
        EXPECT_EQ(made("aXX"), std::string("a") + c + last_digits(1));
        touch(made("aXX"));
    }
    EXPECT_EQ(made("aXX"), "aaa");
    touch(made("bX"));
    EXPECT_EQ(made("bX"), "EEXIST");
}

TEST_F(TempName, BelongsToANewFileOfTheOwner)
{
    touch("c" + last_digits(1));
    std::string name = taken.folder / "cX";
    const int fd = make_temp_file(name.data());
    ASSERT_GE(fd, 0);
    EXPECT_EQ(name, taken.folder / "ca");
    struct stat status;
    ASSERT_EQ(fstat(fd, &status), 0);
    EXPECT_EQ(status.st_mode, mode_t{S_IFREG | 0600});
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_ACCMODE, O_RDWR);
    close(fd);
}

// A program that links us keeps the calls of its platform (clib_names.h has ours).
TEST(ClibNames, AreThePlatformsOwnHere)
{
    setenv("TEMP_NAME_TEST", "1", 1);
    EXPECT_EQ(getenv("TEMP_NAME_TEST=x"), nullptr);
    const table_file folder("");
    std::string theirs = folder.folder / "aXXXXXX", ours = theirs;
    close(mkstemp(theirs.data()));
    close(make_temp_file(ours.data()));
    EXPECT_NE(theirs, ours.substr(0, ours.size() - 6) + last_digits(6)); // no guessable name
}
