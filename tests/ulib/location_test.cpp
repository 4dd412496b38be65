#include "lib/ulib/location.h"

#include "lib/ulib/environ.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <unistd.h>

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
};

TEST_F(Location, StandsInFrontOfThePath)
{
    static const struct {
        std::string profile;
        const char *path, *want;
    } cases[] = {
        {"install_location=/a\n", "/b", "/a/b"},
        {"install_location=/a//", "/b", "/a//b"}, // only one slash of several goes
        {"install_location=/a\n", "b", "/ab"},
        {"install_location=/a/\n", "", "/a/"},
        {"install_location= /a b \t\r\n", "/c", " /a b/c"},
        {"install_location= \t\n", "/b", "/b"},
        {"install_location=/a\ninstall_location=/c=d\n", "/b", "/c=d/b"}, // the last line counts
        {"#x\n\ninstall_location\n=\nInstall_location=/x\n install_location=/y\n"
         "install_location =/z\n",
         "/b", "/b"},
        {std::string("install_location=/a\0x\n", 22), "/b", "/a/b"},
        {"install_location=/a\n", nullptr, nullptr},
    };
    for (const auto &row : cases) {
        profile(row.profile);
        EXPECT_EQ(getlocation(row.path).value_or("none"), row.want == nullptr ? "none" : row.want);
    }
    std::filesystem::remove(file);
    EXPECT_EQ(getlocation("/b"), "/b") << "without the file";
    std::filesystem::create_directory(file);
    EXPECT_EQ(getlocation("/b"), "/b") << "with a folder in its place";
}

TEST_F(Location, MapsUsrLocalEtc)
{
    static const struct {
        const char *profile, *path, *want;
    } cases[] = {
        {"install_locusrlocaletc=/e/\n", "/usr/local/etc/x", "/e//x"},
        {"install_locusrlocaletc=/e\n", "/USR/Local/ETC", "/e"},
        {"install_locusrlocaletc=/e\n", "/usr/local/etcx", "/ex"},
        {"install_location=/a\ninstall_locusrlocaletc=/e\n", "/usr/local/etc/x", "/e/x"},
        {"install_location=/a/\ninstall_locusrlocaletc= \n", "/usr/local/etc/x",
         "/a/usr/local/etc/x"},
        {"install_location=/a\ninstall_locusrlocaletc=/e\n", "/usr/local/et", "/usr/local/et"},
        {"", "/usr/local/etc/x", "/usr/local/etc/x"},
    };
    for (const auto &row : cases) {
        profile(row.profile);
        EXPECT_EQ(getusrlocaletc(row.path), row.want);
    }
    EXPECT_EQ(getusrlocaletc(nullptr), std::nullopt);
}

TEST_F(Location, HasLimits)
{
    const std::string key = "install_location=";
    for (const std::size_t length : {1024U, 1025U, 2048U}) {
        const std::string value = "/" + std::string(length - 1, 'v');
        profile(key + value + "\ninstall_locusrlocaletc=" + value + "\n");
        EXPECT_EQ(getlocation("/b"), value.substr(0, 1024) + "/b");
        EXPECT_EQ(getusrlocaletc("/usr/local/etc/b"), value.substr(0, 1024) + "/b");
    }
    for (const std::size_t length : {8190U, 8191U, 16380U}) {
        // Blanks that would vanish at the end of the value, then a mark at the end of the line.
        profile(key + "/a" + std::string(length - key.size() - 3, ' ') + "x\n");
        EXPECT_EQ(getlocation("/b"), "/a" + std::string(length == 8190 ? 1022 : 0, ' ') + "/b");
        profile(key + "/c\n" + std::string(length, '#') + key + "/x\n");
        EXPECT_EQ(getlocation("/b"), "/c/b") << "no line begins inside another";
    }
    profile(key + "/a\n");
    for (const std::size_t length : {1023U, 1024U, 2048U}) {
        const std::size_t rest = root.string().size() + std::strlen("/opt/KORVwss/.profile.vars");
        setenv("KORVWSS", (root.string() + std::string(length - rest, '/')).c_str(), 1);
        EXPECT_EQ(getlocation("/b"), length == 1023 ? "/a/b" : "/b");
    }
}

TEST(Findenv, FindsTheFirstEntryOfThatName)
{
    static char texts[][12] = {"ALPHABET=2", "ALPHA=1", "BARE", "EMPTY=", "ALPHA=3=4", "BETA=3=4"};
    char *entries[] = {texts[0], texts[1], texts[2], texts[3], texts[4], texts[5], nullptr};
    static const struct {
        const char *name, *value;
        int offset;
    } cases[] = {
        {"ALPHA", "1", 1},  {"ALPHABET", "2", 0},   {"ALPH", nullptr, -1}, {"ALPHA=x", "1", 1},
        {"BETA", "3=4", 5}, {"EMPTY", "", 3},       {"BARE", nullptr, -1}, {"alpha", nullptr, -1},
        {"", nullptr, -1},  {nullptr, nullptr, -1},
    };
    char **const before = environ;
    environ = entries;
    for (const auto &row : cases) {
        int offset = -1;
        EXPECT_STREQ(_findenv(row.name, &offset), row.value);
        EXPECT_EQ(offset, row.offset);
        EXPECT_STREQ(_findenv(row.name, nullptr), row.value);
    }
    // The platform's own would look for a variable of the whole name.
    EXPECT_STREQ(getenv("BETA=no"), "3=4");
    environ = nullptr;
    EXPECT_EQ(getenv("ALPHA"), nullptr);
    environ = before;
}
