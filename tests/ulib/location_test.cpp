#include "lib/ulib/location.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

// A temporary folder that KORVWSS names, for one installation's profile file.
class Location : public testing::Test
{
  protected:
    std::filesystem::path root;

    void SetUp() override
    {
        std::string name = (std::filesystem::temp_directory_path() / "location.XXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        root = name;
        std::filesystem::create_directories(root / "opt/KORVwss");
        setenv("KORVWSS", root.c_str(), 1);
    }

    void TearDown() override
    {
        unsetenv("KORVWSS");
        std::filesystem::remove_all(root);
    }

    void profile(std::string_view text) const
    {
        std::ofstream(root / "opt/KORVwss/.profile.vars", std::ios::binary) << text;
    }
};

TEST_F(Location, StandsInFrontOfThePath)
{
    static const struct {
        const char *label;
        std::string profile;
        const char *path, *want;
    } cases[] = {
        {"plain", "install_location=/a\n", "/b", "/a/b"},
        {"two slashes meet", "install_location=/a/\n", "/b", "/a/b"},
        {"only one slash of several goes", "install_location=/a//\n", "/b", "/a//b"},
        {"no slash is added", "install_location=/a\n", "b", "/ab"},
        {"empty path", "install_location=/a/\n", "", "/a/"},
        {"white space at the end", "install_location=/a b \t\r\n", "/c", "/a b/c"},
        {"white space at the front stays", "install_location= /a\n", "/b", " /a/b"},
        {"only white space", "install_location= \t\n", "/b", "/b"},
        {"no newline at the end", "install_location=/a", "/b", "/a/b"},
        {"the last line counts", "install_location=/a\ninstall_location=/c\n", "/b", "/c/b"},
        {"value with an equals sign", "install_location=/a=c\n", "/b", "/a=c/b"},
        {"other lines",
         "#x\n\ninstall_location\n=\nInstall_location=/x\n install_location=/y\n"
         "install_location =/z\n",
         "/b", "/b"},
        {"a zero byte ends the value", std::string("install_location=/a\0x\n", 22), "/b", "/a/b"},
        {"no lines", "", "/b", "/b"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        profile(row.profile);
        EXPECT_EQ(getlocation(row.path), row.want);
    }
}

TEST_F(Location, MapsUsrLocalEtc)
{
    static const struct {
        const char *label, *profile, *path, *want;
    } cases[] = {
        {"the value is used unchanged", "install_locusrlocaletc=/etc/fw/\n",
         "/usr/local/etc/netperm-table", "/etc/fw//netperm-table"},
        {"any case", "install_locusrlocaletc=/etc/fw\n", "/USR/Local/ETC/x", "/etc/fw/x"},
        {"the folder itself", "install_locusrlocaletc=/etc/fw\n", "/usr/local/etc", "/etc/fw"},
        {"a longer name begins alike", "install_locusrlocaletc=/etc/fw\n", "/usr/local/etcx",
         "/etc/fwx"},
        {"mapped place before the location", "install_location=/a\ninstall_locusrlocaletc=/e\n",
         "/usr/local/etc/x", "/e/x"},
        {"from the location", "install_location=/a/\n", "/usr/local/etc/x", "/a/usr/local/etc/x"},
        {"empty value, from the location", "install_location=/a\ninstall_locusrlocaletc= \n",
         "/usr/local/etc/x", "/a/usr/local/etc/x"},
        {"another path", "install_location=/a\ninstall_locusrlocaletc=/e\n", "/etc/hosts",
         "/etc/hosts"},
        {"a part of the prefix", "install_location=/a\n", "/usr/local/et", "/usr/local/et"},
        {"nothing installed", "", "/usr/local/etc/x", "/usr/local/etc/x"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        profile(row.profile);
        EXPECT_EQ(getusrlocaletc(row.path), row.want);
    }
}

TEST_F(Location, ReadsTheFileAtEveryCall)
{
    EXPECT_EQ(getlocation("/b"), "/b") << "no file";
    profile("install_location=/a\ninstall_locusrlocaletc=/e\n");
    EXPECT_EQ(getlocation("/b"), "/a/b");
    EXPECT_EQ(getusrlocaletc("/usr/local/etc"), "/e");
    std::filesystem::remove(root / "opt/KORVwss/.profile.vars");
    EXPECT_EQ(getlocation("/b"), "/b");
    EXPECT_EQ(getusrlocaletc("/usr/local/etc"), "/usr/local/etc");
    std::filesystem::create_directory(root / "opt/KORVwss/.profile.vars");
    EXPECT_EQ(getlocation("/b"), "/b") << "a folder in place of the file";
}

TEST_F(Location, GivesNothingForANullPath)
{
    EXPECT_EQ(getlocation(nullptr), std::nullopt);
    EXPECT_EQ(getusrlocaletc(nullptr), std::nullopt);
}

TEST_F(Location, CutsValuesAtTheirLimit)
{
    for (const std::size_t length : {1023U, 1024U, 1025U, 2048U}) {
        SCOPED_TRACE(length);
        const std::string value = "/" + std::string(length - 1, 'v');
        profile("install_location=" + value + "\ninstall_locusrlocaletc=" + value + "\n");
        EXPECT_EQ(getlocation("/b"), value.substr(0, 1024) + "/b");
        EXPECT_EQ(getusrlocaletc("/usr/local/etc/b"), value.substr(0, 1024) + "/b");
    }
}

TEST_F(Location, PassesOverTheRestOfALongLine)
{
    const std::string key = "install_location=";
    for (const std::size_t length : {8189U, 8190U, 8191U, 16380U}) {
        SCOPED_TRACE(length);
        // Blanks that would vanish at the end of the value, then a mark at the very end of the
        // line.
        const std::string line = key + "/a" + std::string(length - key.size() - 3, ' ') + "x";
        profile(line + "\n");
        const std::size_t kept = length <= 8190 ? 1024 - 2 : 0;
        EXPECT_EQ(getlocation("/b"), "/a" + std::string(kept, ' ') + "/b");
        profile(std::string(length, '#') + key + "/x\n" + key + "/c\n");
        EXPECT_EQ(getlocation("/b"), "/c/b") << "and no line begins inside another";
        profile(key + "/c\n" + std::string(length, '#') + key + "/x\n");
        EXPECT_EQ(getlocation("/b"), "/c/b");
    }
}

TEST_F(Location, ReadsNoFileWhenItsPathIsTooLong)
{
    const std::size_t room = 1023 - std::string_view("/opt/KORVwss/.profile.vars").size();
    const std::string name = root.string();
    profile("install_location=/a\n");
    static const struct {
        const char *label;
        std::size_t beyond;
        const char *want;
    } cases[] = {{"just fits", 0, "/a/b"}, {"one too long", 1, "/b"}, {"twice", 1023, "/b"}};
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const std::string slashes(room + row.beyond - name.size(), '/');
        setenv("KORVWSS", (name + slashes).c_str(), 1);
        EXPECT_EQ(getlocation("/b"), row.want);
    }
}
