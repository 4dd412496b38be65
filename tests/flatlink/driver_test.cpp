#include "flatlink/driver.h"

#include "tests/flatlink/conversion_test.h"

#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>

class Driver : public conversion_test
{
  protected:
    std::string folder = testing::TempDir() + "driver_" + std::to_string(getpid()) + "/";
    std::string path = folder + "database";

    Driver() { std::filesystem::create_directory(folder); }
    ~Driver() override { std::filesystem::remove_all(folder); }

    void write(const std::string &text) { std::ofstream(path) << text; }
};

TEST_F(Driver, SavesWhereItWasToldFirst)
{
    const std::string other = folder + "other";
    network_database = other.c_str();
    EXPECT_EQ(save_vpndata(path.c_str()), 0);
    EXPECT_TRUE(std::filesystem::exists(other));

    // An open stream goes before both.
    const std::string open_one = folder + "open";
    fout = std::fopen(open_one.c_str(), "w");
    EXPECT_EQ(save_vpndata(path.c_str()), 0);
    EXPECT_EQ(std::filesystem::file_size(open_one), std::filesystem::file_size(other));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(Driver, FailsASaveThatLostItsFirstLines)
{
    bool has_failed = false;
    const auto fail_once = [](void *failed, const char *, std::size_t size) -> ssize_t {
        return std::exchange(*static_cast<bool *>(failed), true) ? static_cast<ssize_t>(size) : 0;
    };
    fout = fopencookie(&has_failed, "w", {nullptr, fail_once, nullptr, nullptr});
    EXPECT_NE(messages_of([] { EXPECT_EQ(save_vpndata("none"), 1); }), "");
}

TEST_F(Driver, LoadsATree)
{
    EXPECT_EQ(populateDef42Tree((folder + "lost").c_str()), nullptr);
    EXPECT_EQ(read_vpn_nonrule_loglevel((folder + "lost").c_str()), nullptr);
    write("def_proxy_x_bind-port=1\nstdlog_define_loglevel_nonrule_vpn_display=High\n");
    EXPECT_STREQ(read_vpn_nonrule_loglevel(path.c_str()), "High");
    write("stdlog_define_loglevel_nonrule_vpn_display=Low\n");
    EXPECT_STREQ(read_vpn_nonrule_loglevel(path.c_str()), "High") << "the tree is loaded already";
    EXPECT_EQ(populateDef42Tree(path.c_str()), def_database);
    EXPECT_STREQ(read_vpn_nonrule_loglevel(nullptr), "Low");
}

// A run writes to a fixed place, so this one has a /tmp of its own, in a child.
TEST_F(Driver, ReadsTheDatabaseAgainOnReload)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "a /tmp of its own needs root";
    const auto run_twice = [this] {
        EXPECT_EQ(unshare(CLONE_NEWNS), 0);
        EXPECT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
        EXPECT_EQ(mount("none", "/tmp", "tmpfs", 0, nullptr), 0);
        if (HasFailure())
            return;
        std::filesystem::create_directories(folder);
        write("def_proxy_x_bind-port=1\nip_hostname=gate\nip_defaultrouter=10.1.0.254\n"
              "vpn_settings_anonsecret=first\n");
        EXPECT_EQ(read_vpndata(path.c_str(), false), 0);
        EXPECT_EQ(network_database, nullptr);
        EXPECT_EQ(fout, nullptr);
        write("def_proxy_x_bind-port=1\nip_hostname=other\nip_defaultrouter=10.9.0.254\n"
              "vpn_settings_anonsecret=second\n");
        EXPECT_EQ(read_vpndata(path.c_str(), false), 0);
        EXPECT_EQ(anonsecret, "first") << "the tree in memory stays";
        EXPECT_EQ(read_vpndata(path.c_str(), true), 0);
        EXPECT_EQ(anonsecret, "second");
        EXPECT_EQ(ip_hostname, "gate") << "host names stay";
        EXPECT_EQ(my_def_interface, "10.1.0.254");
    };
    EXPECT_EXIT(
        {
            run_twice();
            _exit(HasFailure() ? 1 : 0);
        },
        testing::ExitedWithCode(0), "");
}
