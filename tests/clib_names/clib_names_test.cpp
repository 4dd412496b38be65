#include "lib/clib_names/clib_names.h"

#include "lib/ulib/address.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace flatlink;

TEST(ClibNames, AreOursInAProgramThatLinksThem)
{
    setenv("CLIB_NAMES_TEST", "1=2", 1);
    EXPECT_STREQ(getenv("CLIB_NAMES_TEST=x"), "1=2"); // the platform's looks for the whole name
    EXPECT_EQ(getenv("CLIB_NAMES_TES"), nullptr);

    in_addr got{.s_addr = 7};
    EXPECT_EQ(inet_aton("1.2.3.4x", &got) + inet_aton(nullptr, &got) + inet_aton("", nullptr), 0);
    EXPECT_EQ(got.s_addr, 7);
    EXPECT_EQ(inet_aton("1.0x2.3", nullptr) + inet_aton("1.0x2.3", &got), 2);
    EXPECT_EQ(format_address(got.s_addr), "1.2.0.3");

    const std::string folder = std::filesystem::temp_directory_path();
    const std::string number = "000000000" + std::to_string(getpid());
    const std::string wanted = folder + "/a" + number.substr(number.size() - 9);
    std::string name = folder + "/aXXXXXXXXX";
    EXPECT_EQ(mktemp(name.data()), name.data());
    EXPECT_EQ(name, wanted);
    name = folder + "/aXXXXXXXXX";
    const int fd = mkstemp(name.data());
    EXPECT_EQ(name, wanted);
    struct stat status;
    EXPECT_EQ(fstat(fd, &status), 0);
    close(fd);
    unlink(wanted.c_str());
}
