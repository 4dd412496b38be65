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
struct TempName : testing::Test {
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::path path;

    TempName()
    {
        std::string name = (std::filesystem::temp_directory_path() / "names-XXXXXX").string();
        path = ::mkdtemp(name.data());
        std::filesystem::current_path(path);
    }
    ~TempName() override
    {
        std::filesystem::current_path(before);
        std::filesystem::remove_all(path);
    }

    static std::string made(std::string name)
    {
        EXPECT_EQ(mktemp(name.data()), name.data());
        return name;
    }
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

TEST_F(TempName, HasTheNumberOfTheProcess)
{
    EXPECT_EQ(made("aXXXXXXXXXXXX"), "a" + last_digits(12));
    EXPECT_EQ(made("XXaXX"), "XXa" + last_digits(2)); // only the last run
    EXPECT_EQ(made("XXX"), last_digits(3));
    EXPECT_EQ(made("free"), "free");
    EXPECT_EQ(made(""), "");
    EXPECT_EQ(made("/no-such-name-XX"), "/no-such-name-" + last_digits(2));
}

TEST_F(TempName, GoesOnBehindTakenNames)
{
    const std::string digits = last_digits(2);
    touch(made("aXX"));
    for (char c = 'a'; c <= 'z'; ++c) {
        const std::string name = made("aXX");
        EXPECT_EQ(name, std::string("a") + c + digits[1]);
        touch(name);
    }
    EXPECT_EQ(made("aXX"), "aaa");
}

TEST_F(TempName, FailsWhereNoNameIsLeft)
{
    for (char c = 'a'; c <= 'z'; ++c)
        touch(std::string("b") + c);
    touch("b" + last_digits(1));
    touch("taken");
    std::filesystem::create_symlink("nowhere", "link");
    for (const auto &[name, error] : {std::pair("bX", EEXIST),
                                      {"taken", EEXIST},
                                      {"link", EEXIST},
                                      {"no/aXX", ENOENT},
                                      {"taken/aXX", ENOTDIR}}) {
        SCOPED_TRACE(name);
        std::string text = name;
        EXPECT_EQ(mktemp(text.data()), nullptr);
        EXPECT_EQ(errno, error);
        text = name;
        EXPECT_EQ(mkstemp(text.data()), -1);
        EXPECT_EQ(errno, error);
    }
    EXPECT_FALSE(std::filesystem::exists("nowhere"));
}

TEST_F(TempName, BelongsToANewFileOfTheOwner)
{
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
