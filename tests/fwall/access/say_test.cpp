#include "lib/fwall/access/say.h"

#include "tests/fwall/table_file.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace flatlink;

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
    EXPECT_EQ(fwall_sayfile(ends[0], file.path.c_str()), text.empty() ? 0 : 1); // no reader
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

TEST(FwallSaypart, TakesAPartOfARegularFile)
{
    const table_file file("one\ntwo\nthree");
    const auto said_part = [&](std::size_t max_bytes) {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        EXPECT_EQ(fwall_saypart(ends[1], file.path.c_str(), max_bytes), 0);
        EXPECT_EQ(fwall_say(ends[1], "end"), 0);
        char bytes[64];
        const ssize_t length = read(ends[0], bytes, sizeof bytes);
        close(ends[0]);
        close(ends[1]);
        return std::string(bytes, static_cast<std::size_t>(length));
    };
    EXPECT_EQ(said_part(4), "one\r\nend\r\n");
    EXPECT_EQ(said_part(6), "one\r\ntw\r\nend\r\n");
    EXPECT_EQ(said_part(99), "one\r\ntwo\r\nthree\r\nend\r\n");
    const std::string pipe_path = file.path + ".fifo";
    ASSERT_EQ(mkfifo(pipe_path.c_str(), 0600), 0);
    for (const auto &[path, error] : {std::pair(pipe_path, EINVAL),
                                      {file.folder, EISDIR},
                                      {file.path + "x", ENOENT},
                                      {"/dev/null", EINVAL}}) {
        EXPECT_EQ(fwall_saypart(1, path.c_str(), 99), 1);
        EXPECT_EQ(errno, error) << path;
    }
    unlink(pipe_path.c_str());
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
