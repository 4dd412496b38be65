#include "lib/fwall/say.h"

#include "tests/fwall/table_file.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

struct Say : testing::Test {
    int fds[2] = {-1, -1};

    Say() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0); }
    ~Say() override
    {
        close(fds[0]);
        close(fds[1]);
    }
    std::string received() const
    {
        char bytes[4096];
        const ssize_t length = recv(fds[1], bytes, sizeof bytes, MSG_DONTWAIT);
        return {bytes, static_cast<std::size_t>(std::max<ssize_t>(length, 0))};
    }
};

TEST_F(Say, EndsLines)
{
    EXPECT_EQ(fwall_say(fds[0], "one %s"), 0);
    EXPECT_EQ(fwall_say(fds[0], ""), 0);
    EXPECT_EQ(fwall_sayn(fds[0], "two\0!", 5), 0);
    EXPECT_EQ(received(), std::string("one %s\r\n\r\ntwo\0!\r\n", 17));
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    EXPECT_EQ(fwall_say(ends[1], "x"), 0);
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Say, SendsEachLineOfAFile)
{
    const struct {
        std::string file, want;
    } cases[] = {
        {"", ""},
        {"a\n\nb", "a\r\n\r\nb\r\n"},
        {std::string(1022, 'x') + "\n", std::string(1022, 'x') + "\r\n"},
        {std::string(1023, 'x') + "\n", std::string(1023, 'x') + "\r\n\r\n"},
        {std::string(1500, 'x'), std::string(1023, 'x') + "\r\n" + std::string(477, 'x') + "\r\n"},
    };
    for (const auto &row : cases) {
        const table_file file(row.file);
        EXPECT_EQ(fwall_sayfile(fds[0], file.path.c_str()), 0);
        EXPECT_EQ(received(), row.want);
    }
}

TEST_F(Say, FailsWithoutAFileOrAClient)
{
    const table_file file("a\nb\n");
    EXPECT_EQ(fwall_sayfile(fds[0], (file.path + "x").c_str()), 1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(fwall_sayfile(fds[0], file.folder.c_str()), 1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(fwall_sayfile(fds[0], nullptr), 1);
    shutdown(fds[1], SHUT_RDWR);
    EXPECT_EQ(fwall_sayfile(fds[0], file.path.c_str()), 1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(fwall_say(fds[0], "x"), 1);
    EXPECT_EQ(errno, EPIPE);
}
