#include "flatlink/flat_file.h"

#include "tests/flatlink/conversion_test.h"

#include <filesystem>
#include <fstream>

class FlatFile : public conversion_test
{
  protected:
    std::string path = testing::TempDir() + "flat_file_" + std::to_string(getpid());
    ~FlatFile() override { std::filesystem::remove(path); }
    void write(const std::string &text) { std::ofstream(path) << text; }
};

TEST_F(FlatFile, IsReadAndFinished)
{
    write("vlink_7_lname=a\nvlink_7_gateway=10.0.0.1\nip_hostname=gate\nlast line=1");
    read_vpndata55(path.c_str(), false);
    EXPECT_EQ(ip_myhostname, "gate");
    EXPECT_EQ(network_database, path);
    start_anew();
    read_vpndata55(path.c_str(), true);
    EXPECT_EQ(linkinfos.size(), 1u);
    EXPECT_EQ(ip_myhostname, "") << "host lines are skipped";
    EXPECT_EXIT(read_vpndata55((path + "-missing").c_str(), false), testing::ExitedWithCode(1),
                "^vpndata:Can't open database " + path + "-missing\n$");
}

// A piece holds 1023 characters: what follows is a line of its own.
TEST_F(FlatFile, FallsIntoPiecesWhereALineIsTooLong)
{
    const std::string start = "vpn_anonsecret=x";
    for (const std::size_t size : {1022u, 1023u}) {
        start_anew();
        write(start + std::string(size - start.size(), 'y') + (size == 1022 ? "\n" : "") +
              "vpn_threadcount=5\nvpn_aggressivemode=On\n");
        read_vpndata55(path.c_str(), false);
        EXPECT_EQ(cryptoThreadCount, 5);
        EXPECT_EQ(aggressiveMode, 1);
    }
}

// A file that was written reads back to the same file, apart from what writing loses for good:
// policies and pools take their numbers for names, and the own host name is rebuilt.
TEST_F(FlatFile, ComesOutAsItWentIn)
{
    const auto read = [](const std::string &file) {
        std::ifstream stream(file);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    };
    const std::string text = read(TEST_DATA_DIR "/flat_file.lines");
    ASSERT_NE(text, "");
    write(text);
    EXPECT_EQ(messages_of([this] { read_vpndata55(path.c_str(), false); }), "");
    EXPECT_EQ(save_vpndata(nullptr), 0);
    fout = nullptr;
    EXPECT_EQ(read(path), text);
}
