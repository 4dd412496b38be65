#include "lib/fwall/access/say.h"

#include "tests/fwall/table_file.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

// What is sent to a client for a file of this text.
static std::string said(const std::string &text)
{
    const table_file file(text);
    int ends[2], ends_of_pipe[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    EXPECT_EQ(fwall_sayfile(ends[0], file.path.c_str()), 0);
    EXPECT_EQ(fwall_sayn(ends[0], "\0%s", 3), 0);
    char bytes[4096];
    const ssize_t length = recv(ends[1], bytes, sizeof bytes, 0);
    close(ends[1]);
    EXPECT_EQ(fwall_sayfile(ends[0], file.path.c_str()), text.empty() ? 0 : 1); // nobody there
    EXPECT_EQ(fwall_say(ends[0], "x"), 1);
    EXPECT_EQ(errno, EPIPE);
    close(ends[0]);
    EXPECT_EQ(pipe(ends_of_pipe), 0);
    EXPECT_EQ(fwall_say(ends_of_pipe[1], "x"), 0);
    close(ends_of_pipe[0]);
    close(ends_of_pipe[1]);
    return {bytes, static_cast<std::size_t>(length)};
}

TEST(FwallSay, EndsEachLine)
{
    const std::string own("\0%s\r\n", 5), most(1022, 'x');
    EXPECT_EQ(said(""), own);
    EXPECT_EQ(said("a\n\nb"), "a\r\n\r\nb\r\n" + own);
    EXPECT_EQ(said(most + "\n"), most + "\r\n" + own);
    EXPECT_EQ(said(most + "x\n"), most + "x\r\n\r\n" + own);
    EXPECT_EQ(said(most + most), most + "x\r\n" + most.substr(1) + "\r\n" + own);
}

TEST(FwallSayfile, FailsWithoutAFile)
{
    const table_file file("");
    for (const auto &[path, error] : {std::pair(file.path + "x", ENOENT), {file.folder, EISDIR}}) {
        EXPECT_EQ(fwall_sayfile(1, path.c_str()), 1);
        EXPECT_EQ(errno, error);
    }
    EXPECT_EQ(fwall_sayfile(1, nullptr), 1);
}
