#include "flatlink/driver.h"

#include "tests/flatlink/conversion_test.h"

#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>

class driver : public conversion_test
{
  protected:
    std::string folder = testing::TempDir() + "driver_" + std::to_string(getpid()) + "/";
    std::string path = folder + "database";

    driver() { std::filesystem::create_directory(folder); }
    ~driver() override { std::filesystem::remove_all(folder); }

    void write(const std::string &text) { std::ofstream(path) << text; }
};

TEST_F(driver, saves_where_it_was_told_first)
{
    const std::string other = folder + "other";
    network_database = other.c_str();
    EXPECT_EQ(0, save_vpndata(path.c_str()));
    EXPECT_TRUE(std::filesystem::exists(other));

    // An open stream goes before both.
    const std::string open_one = folder + "open";
    fout = std::fopen(open_one.c_str(), "w");
    EXPECT_EQ(0, save_vpndata(path.c_str()));
    EXPECT_EQ(std::filesystem::file_size(other), std::filesystem::file_size(open_one));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(driver, fails_a_save_that_lost_its_first_lines)
{
    bool has_failed = false;
    const auto fail_once = [](void *failed, const char *, std::size_t size) -> ssize_t {
        return std::exchange(*static_cast<bool *>(failed), true) ? static_cast<ssize_t>(size) : 0;
    };
    fout = fopencookie(&has_failed, "w", {nullptr, fail_once, nullptr, nullptr});
    EXPECT_NE("", messages_of([] { EXPECT_EQ(1, save_vpndata("none")); }));
}

TEST_F(driver, loads_a_tree)
{
    EXPECT_EQ(nullptr, populateDef42Tree((folder + "lost").c_str()));
    EXPECT_EQ(nullptr, read_vpn_nonrule_loglevel((folder + "lost").c_str()));
    write("def_proxy_x_bind-port=1\nstdlog_define_loglevel_nonrule_vpn_display=High\n");
    EXPECT_STREQ("High", read_vpn_nonrule_loglevel(path.c_str()));
    write("stdlog_define_loglevel_nonrule_vpn_display=Low\n");
    EXPECT_STREQ("High", read_vpn_nonrule_loglevel(path.c_str())) << "the tree is loaded already";
    EXPECT_EQ(def_database, populateDef42Tree(path.c_str()));
    EXPECT_STREQ("Low", read_vpn_nonrule_loglevel(nullptr));
}

// A run writes to a fixed place, so this one has a /tmp of its own, in a child.
TEST_F(driver, reads_the_database_again_on_reload)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "a /tmp of its own needs root";
    const auto run_twice = [this] {
        EXPECT_EQ(0, unshare(CLONE_NEWNS));
        EXPECT_EQ(0, mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr));
        EXPECT_EQ(0, mount("none", "/tmp", "tmpfs", 0, nullptr));
        if (HasFailure())
            return;
        std::filesystem::create_directories(folder);
        write("def_proxy_x_bind-port=1\nip_hostname=gate\nip_defaultrouter=10.1.0.254\n"
              "vpn_settings_anonsecret=first\n");
        EXPECT_EQ(0, read_vpndata(path.c_str(), false));
        EXPECT_EQ(nullptr, network_database);
        EXPECT_EQ(nullptr, fout);
        write("def_proxy_x_bind-port=1\nip_hostname=other\nip_defaultrouter=10.9.0.254\n"
              "vpn_settings_anonsecret=second\n");
        EXPECT_EQ(0, read_vpndata(path.c_str(), false));
        EXPECT_EQ("first", anonsecret) << "the tree in memory stays";
        EXPECT_EQ(0, read_vpndata(path.c_str(), true));
        EXPECT_EQ("second", anonsecret);
        EXPECT_EQ("gate", ip_hostname) << "host names stay";
        EXPECT_EQ("10.1.0.254", my_def_interface);
    };
    EXPECT_EXIT(
        {
            run_twice();
            _exit(HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}
