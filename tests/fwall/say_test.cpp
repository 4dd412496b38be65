#include "lib/fwall/say.h"

#include "tests/fwall/table_file.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

struct socket_pair {
    int fds[2] = {-1, -1};

    socket_pair() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0); }
    ~socket_pair()
    {
        close_near();
        close_far();
    }
    void close_near() { close_one(fds[0]); }
    void close_far() { close_one(fds[1]); }
    static void close_one(int &fd)
    {
        if (fd >= 0)
            close(fd);
        fd = -1;
    }
    // All that was sent; ends the near side.
    std::string received()
    {
        close_near();
        std::string text;
        char piece[4096];
        for (ssize_t got; (got = read(fds[1], piece, sizeof piece)) > 0;)
            text.append(piece, static_cast<std::size_t>(got));
        return text;
    }
};

TEST(FwallSay, EndsLines)
{
    socket_pair pair;
    EXPECT_EQ(fwall_say(pair.fds[0], "one %s"), 0);
    EXPECT_EQ(fwall_say(pair.fds[0], ""), 0);
    EXPECT_EQ(fwall_sayn(pair.fds[0], "two\0!", 5), 0);
    EXPECT_EQ(pair.received(), std::string("one %s\r\n\r\ntwo\0!\r\n", 17));
}

TEST(FwallSay, WritesToAPipe)
{
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    EXPECT_EQ(fwall_say(fds[1], "x"), 0);
    char got[8];
    EXPECT_EQ(read(fds[0], got, sizeof got), 3);
    close(fds[0]);
    close(fds[1]);
}

TEST(FwallSay, FailsWithoutAClient)
{
    socket_pair pair;
    pair.close_far();
    EXPECT_EQ(fwall_say(pair.fds[0], "x"), 1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(fwall_say(-1, "x"), 1);
}

TEST(FwallSayfile, SendsEachLine)
{
    static const struct {
        const char *label;
        std::string file, want;
    } cases[] = {
        {"empty", "", ""},
        {"lines", "a\n\nb\n", "a\r\n\r\nb\r\n"},
        {"no last newline", "a\nb", "a\r\nb\r\n"},
        {"one less", std::string(1022, 'x') + "\n", std::string(1022, 'x') + "\r\n"},
        {"a newline of its own", std::string(1023, 'x') + "\n",
         std::string(1023, 'x') + "\r\n\r\n"},
        {"two pieces", std::string(2000, 'x') + "\n",
         std::string(1023, 'x') + "\r\n" + std::string(977, 'x') + "\r\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const table_file file(row.file);
        socket_pair pair;
        EXPECT_EQ(fwall_sayfile(pair.fds[0], file.path.c_str()), 0);
        EXPECT_EQ(pair.received(), row.want);
    }
}

TEST(FwallSayfile, FailsWithoutAFileOrAClient)
{
    const table_file file("a\nb\n");
    socket_pair pair;
    EXPECT_EQ(fwall_sayfile(pair.fds[0], (file.path + "x").c_str()), 1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(fwall_sayfile(pair.fds[0], file.folder.c_str()), 1);
    EXPECT_EQ(errno, EISDIR);
    EXPECT_EQ(fwall_sayfile(pair.fds[0], nullptr), 1);
    pair.close_far();
    EXPECT_EQ(fwall_sayfile(pair.fds[0], file.path.c_str()), 1);
    EXPECT_EQ(errno, EPIPE);
}
