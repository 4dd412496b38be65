#include "flatlink/driver.h"

#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include "tests/flatlink/conversion_test.h"

static const char default_lines[] =
    "vpn_anonsecret=\nvpn_clientIKEpolicy=\nvpn_kernelacceleration=On\nvpn_useracceleration=On\n"
    "vpn_aggressivemode=Off\nip_myhostname=\nip_hostname=\nip_domainname=\n";

class driver : public conversion_test
{
  protected:
    std::string folder = testing::TempDir() + "driver_" + std::to_string(getpid()) + "/";
    std::string path = folder + "database";

    driver() { std::filesystem::create_directory(folder); }
    ~driver() override { std::filesystem::remove_all(folder); }

    static void write(const std::string &file, const std::string &text)
    {
        std::ofstream(file) << text;
    }
    static std::string read(const std::string &file)
    {
        std::ifstream stream(file);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    }
};

TEST_F(driver, saves_the_default_lines_of_empty_records)
{
    EXPECT_EQ(0, save_vpndata(path.c_str()));
    EXPECT_EQ(path, network_database);
    EXPECT_EQ(default_lines, read(path));
}

TEST_F(driver, saves_where_it_was_told_first)
{
    const std::string other = folder + "other";
    network_database = other.c_str();
    EXPECT_EQ(0, save_vpndata(path.c_str()));
    EXPECT_EQ(default_lines, read(other));
    EXPECT_FALSE(std::filesystem::exists(path));

    // An open stream goes before both.
    const std::string open_one = folder + "open";
    fout = std::fopen(open_one.c_str(), "w");
    EXPECT_EQ(0, save_vpndata(path.c_str()));
    EXPECT_EQ(default_lines, read(open_one));
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(driver, says_when_it_cannot_save)
{
    const std::string lost = folder + "lost/file";
    EXPECT_EQ(lost + ": No such file or directory\n",
              messages_of([&] { EXPECT_EQ(1, save_vpndata(lost.c_str())); }));
    start_anew();
    EXPECT_EQ("/dev/full: No space left on device\n",
              messages_of([] { EXPECT_NE(0, save_vpndata("/dev/full")); }));
}

TEST_F(driver, loads_a_tree)
{
    EXPECT_EQ(nullptr, populateDef42Tree((folder + "lost").c_str()));
    EXPECT_EQ(nullptr, read_vpn_nonrule_loglevel((folder + "lost").c_str()));
    write(path, "def_proxy_x_bind-port=1\nstdlog_define_loglevel_nonrule_vpn_display=High\n");
    EXPECT_STREQ("High", read_vpn_nonrule_loglevel(path.c_str()));
    EXPECT_STREQ("1", fval(&def_database, "def_proxy_x_bind-port"));
    write(path, "stdlog_define_loglevel_nonrule_vpn_display=Low\n");
    EXPECT_STREQ("High", read_vpn_nonrule_loglevel(path.c_str())) << "the tree is loaded already";
    EXPECT_EQ(def_database, populateDef42Tree(path.c_str()));
    EXPECT_STREQ("Low", read_vpn_nonrule_loglevel(nullptr));
}

// ---- runs, which write to a fixed place: each has a /tmp of its own

class driver_runs : public driver
{
  protected:
    // Checks that fail in the child fail the test.
    void in_private_tmp(const std::function<void()> &body)
    {
        std::fflush(nullptr);
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const bool moved = unshare(CLONE_NEWNS) == 0 &&
                               mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                               mount("none", "/tmp", "tmpfs", 0, nullptr) == 0;
            EXPECT_TRUE(moved) << "no mount namespace";
            if (moved) {
                std::filesystem::create_directories(folder);
                body();
            }
            std::fflush(nullptr);
            _exit(HasFailure() ? 1 : 0);
        }
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(0, status) << "the child's checks failed";
    }

    void SetUp() override
    {
        if (geteuid() != 0)
            GTEST_SKIP() << "a /tmp of its own needs root";
    }
};

static const char two_sites[] =
    "def_proxy_x_bind-port=1\nip_hostname=gate\nip_defaultrouter=10.1.0.254\n"
    "net_ipaddr_pc_addr=10.1.0.7\nnet_ipaddr_gate_addr=192.0.2.1\nnet_ipaddr_far_addr=10.2.0.7\n"
    "net_vpnnetwork_quay_ip-address=net_ipaddr_gate\nnet_vpnnetwork_quay_include-sgo=off\n"
    "net_vpnnetwork_quay_network=net_ipaddr_far\nvpn_settings_anonsecret=first\n"
    "rule_proxy_1_src=net_ipaddr_pc\nrule_proxy_1_dest=net_vpnnetwork_quay\n"
    "rule_proxy_1_rulelabel=proxy\nrule_pffwd_9_src=net_ipaddr_far\n"
    "rule_pffwd_9_dst=net_vpnnetwork_quay\n";

TEST_F(driver_runs, leave_trace_and_lines_in_the_scratch_file)
{
    in_private_tmp([this] {
        write(path, two_sites);
        EXPECT_EQ(0, read_vpndata(path.c_str(), false));
        EXPECT_EQ(nullptr, network_database);
        EXPECT_EQ(nullptr, fout);
        EXPECT_EQ(two_sites, read(path)) << "the database is the second save's work";
        ASSERT_EQ(2u, linkinfos.size());
        EXPECT_EQ(9, linkinfos[0]->rulenumber) << "packet filter rules go first";

        EXPECT_EQ(0, save_vpndata(path.c_str()));
        const std::string lines = read(path);
        const std::string scratch = read(SCRATCH_FILE);
        EXPECT_EQ("Dst vpnnetwork check\n", scratch.substr(0, 21));
        ASSERT_GT(scratch.size(), lines.size());
        EXPECT_EQ(lines, scratch.substr(scratch.size() - lines.size()));
    });
}

TEST_F(driver_runs, read_the_database_again_on_reload)
{
    in_private_tmp([this] {
        write(path, two_sites);
        EXPECT_EQ(0, read_vpndata(path.c_str(), false));
        EXPECT_EQ("gate", ip_hostname);

        write(path, "def_proxy_x_bind-port=1\nip_hostname=other\nip_domainname=x.invalid\n"
                    "vpn_settings_anonsecret=second\nip_defaultrouter=10.9.0.254\n");
        EXPECT_EQ(0, read_vpndata(path.c_str(), false));
        EXPECT_EQ("first", anonsecret) << "the tree in memory stays";
        EXPECT_EQ(0, read_vpndata(path.c_str(), true));
        EXPECT_EQ("second", anonsecret);
        EXPECT_EQ("gate", ip_hostname) << "host names stay";
        EXPECT_EQ("10.1.0.254", my_def_interface);
    });
}

TEST_F(driver_runs, touch_nothing_without_a_scratch_file)
{
    in_private_tmp([this] {
        write(path, two_sites);
        std::filesystem::create_directory(SCRATCH_FILE);
        const std::string message = std::string(SCRATCH_FILE) + ": Is a directory\n";
        EXPECT_EQ(message,
                  messages_of([this] { EXPECT_EQ(1, read_vpndata(path.c_str(), false)); }));
        EXPECT_EQ(message, messages_of([this] { EXPECT_EQ(1, save_vpndata(path.c_str())); }));
        EXPECT_EQ(two_sites, read(path));
    });
}
