#include "flatlink/flat_file.h"

#include "tests/flatlink/conversion_test.h"

#include <filesystem>
#include <fstream>

class flat_file : public conversion_test
{
  protected:
    std::string path = testing::TempDir() + "flat_file_" + std::to_string(getpid());
    ~flat_file() override { std::filesystem::remove(path); }
    void write(const std::string &text) { std::ofstream(path) << text; }
};

TEST_F(flat_file, is_read_and_finished)
{
    write("vlink_7_lname=a\nvlink_7_gateway=10.0.0.1\nip_hostname=gate\nlast line=1");
    read_vpndata55(path.c_str(), false);
    EXPECT_EQ("gate", ip_myhostname);
    EXPECT_EQ(path, network_database);
    start_anew();
    read_vpndata55(path.c_str(), true);
    EXPECT_EQ(1u, linkinfos.size());
    EXPECT_EQ("", ip_myhostname) << "host lines are skipped";
    EXPECT_EXIT(read_vpndata55((path + "-missing").c_str(), false), testing::ExitedWithCode(1),
                "^vpndata:Can't open database " + path + "-missing\n$");
}

// A piece holds 1023 characters: what follows is a line of its own.
TEST_F(flat_file, falls_into_pieces_where_a_line_is_too_long)
{
    const std::string start = "vpn_anonsecret=x";
    for (const std::size_t size : {1022u, 1023u}) {
        start_anew();
        write(start + std::string(size - start.size(), 'y') + (size == 1022 ? "\n" : "") +
              "vpn_threadcount=5\nvpn_aggressivemode=On\n");
        read_vpndata55(path.c_str(), false);
        EXPECT_EQ(5, cryptoThreadCount);
        EXPECT_EQ(1, aggressiveMode);
    }
}

// A file that was written reads back to the same file, apart from what writing loses for good:
// policies and pools take their numbers for names, and the own host name is rebuilt.
TEST_F(flat_file, comes_out_as_it_went_in)
{
    const auto read = [](const std::string &file) {
        std::ifstream stream(file);
        return std::string(std::istreambuf_iterator<char>(stream), {});
    };
    const std::string text = read(TEST_DATA_DIR "/flat_file.lines");
    ASSERT_NE("", text);
    write(text);
    EXPECT_EQ("", messages_of([this] { read_vpndata55(path.c_str(), false); }));
    EXPECT_EQ(0, save_vpndata(nullptr));
    fout = nullptr;
    EXPECT_EQ(text, read(path));
}
