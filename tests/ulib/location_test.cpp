#include "lib/ulib/location.h"

#include "lib/ulib/environ.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace flatlink;

// A temporary folder that KORVWSS names, for one installation's profile file.
class Location : public testing::Test
{
  protected:
    std::filesystem::path root, file;

    void SetUp() override
    {
        std::string name = (std::filesystem::temp_directory_path() / "location.XXXXXX").string();
        root = mkdtemp(name.data());
        file = root / "opt/KORVwss/.profile.vars";
        std::filesystem::create_directories(file.parent_path());
        setenv("KORVWSS", root.c_str(), 1);
    }

    void TearDown() override
    {
        unsetenv("KORVWSS");
        std::filesystem::remove_all(root);
    }

    void profile(std::string_view text) const { std::ofstream(file, std::ios::binary) << text; }

    // With a profile of its own.
    std::optional<std::string> located(std::string_view text, const char *path) const
    {
        profile(text);
        return installed_path(path);
    }
};

TEST_F(Location, StandsInFrontOfThePath)
{
    EXPECT_EQ(located("install_location=/a\n", "/b"), "/a/b");
    EXPECT_EQ(located("install_location=/a//", "/b"), "/a//b"); // only one slash of several goes
    EXPECT_EQ(located("install_location=/a\n", "b"), "/ab");
    EXPECT_EQ(located("install_location= /a b \t\r\n", "/c"), " /a b/c");
    EXPECT_EQ(located("install_location=/a\ninstall_location=/c=d\n", "/b"), "/c=d/b"); // the last
    EXPECT_EQ(located("#x\n\ninstall_location\n=\nInstall_location=/x\n install_location=/y\n"
                      "install_location =/z\n",
                      "/b"),
              "/b");
    EXPECT_EQ(located({"install_location=/a\0x\n", 22}, "/b"), "/a/b");
    EXPECT_EQ(installed_path(nullptr), std::nullopt);
    std::filesystem::remove(file);
    EXPECT_EQ(installed_path("/b"), "/b") << "without the file";
    std::filesystem::create_directory(file);
    EXPECT_EQ(installed_path("/b"), "/b") << "with a folder in its place";
}

TEST_F(Location, MapsUsrLocalEtc)
{
    profile("install_location=/a/\ninstall_locusrlocaletc= \n");
    EXPECT_EQ(installed_local_path("/usr/local/etc/x"), "/a/usr/local/etc/x");
    profile("install_location=/a\ninstall_locusrlocaletc=/e/\n");
    EXPECT_EQ(installed_local_path("/usr/local/etc/x"), "/e//x");
    EXPECT_EQ(installed_local_path("/USR/Local/ETCx"), "/e/x");
    EXPECT_EQ(installed_local_path("/usr/local/et"), "/usr/local/et");
    EXPECT_EQ(installed_local_path(nullptr), std::nullopt);
}

TEST_F(Location, HasLimits)
{
    const std::string key = "install_location=";
    EXPECT_EQ(located(key + std::string(1025, 'v'), "/b"), std::string(1024, 'v') + "/b");
    for (const std::size_t length : {8190U, 8191U, 16380U}) {
        // Blanks that would vanish at the end of the value, then a mark at the end of the line.
        EXPECT_EQ(located(key + "/a" + std::string(length - key.size() - 3, ' ') + "x\n", "/b"),
                  "/a" + std::string(length == 8190 ? 1022 : 0, ' ') + "/b");
        EXPECT_EQ(located(key + "/c\n" + std::string(length, '#') + key + "/x\n", "/b"), "/c/b");
    }
    const std::size_t rest = root.string().size() + std::strlen("/opt/KORVwss/.profile.vars");
    for (const std::size_t length : {1023U, 1024U}) {
        setenv("KORVWSS", (root.string() + std::string(length - rest, '/')).c_str(), 1);
        EXPECT_EQ(located(key + "/a", "/b"), length == 1023 ? "/a/b" : "/b");
    }
}

TEST(Findenv, FindsTheFirstEntryOfThatName)
{
    static char texts[][8] = {"AB=no", "A=1=2", "A=no"};
    char *entries[] = {texts[0], texts[1], texts[2], nullptr};
    char **const before = std::exchange(environ, entries);
    EXPECT_STREQ(_findenv("A", nullptr), "1=2");
    EXPECT_STREQ(_findenv("A=x", nullptr), "1=2");
    EXPECT_EQ(_findenv("", nullptr), nullptr);
    environ = nullptr;
    EXPECT_EQ(_findenv("A", nullptr), nullptr);
    environ = before;
}
