#include "flatctl/input/run_child.h"

#include "lib/ulib/report.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace flatlink;

namespace
{

struct heard {
    child_result result;
    std::string data, messages;
};

heard run(const std::function<int(child_port &)> &work, const sandbox_limits &limits = {})
{
    heard all;
    all.result = run_child(limits, -1, work, [&](frame_kind kind, std::string_view bytes) {
        (kind == frame_kind::DATA ? all.data : all.messages) += bytes;
    });
    return all;
}

} // namespace

TEST(RunChild, Ends)
{
    static const struct {
        const char *label;
        int (*work)(child_port &);
        child_end end;
        int detail;
    } cases[] = {
        {"done", [](child_port &) { return 3; }, child_end::DONE, 3},
        {"signal", [](child_port &) { return raise(SIGKILL); }, child_end::CRASHED, SIGKILL},
        {"exit", [](child_port &) -> int { std::_Exit(7); }, child_end::EXITED, 7},
        {"library without memory", [](child_port &) -> int { outofcore(); }, child_end::NO_MEMORY,
         0},
        {"no frame",
         [](child_port &port) {
             port.send(static_cast<frame_kind>(99), "x");
             return 0;
         },
         child_end::GARBLED, 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const heard got = run(row.work);
        EXPECT_EQ(got.result.end, row.end);
        EXPECT_EQ(got.result.detail, row.detail);
    }
}

TEST(RunChild, FramesCarryWhatTheWorkWrites)
{
    const std::string long_text(200'000, 'x');
    const heard got = run([&](child_port &port) {
        port.send(frame_kind::DATA, {});
        std::FILE *out = port.stream(frame_kind::DATA);
        std::fputs(long_text.c_str(), out);
        std::fclose(out);
        std::fputs("a message\n", stderr);
        std::puts("nowhere");
        return 0;
    });
    EXPECT_EQ(got.result.end, child_end::DONE);
    EXPECT_EQ(got.data, long_text);
    EXPECT_EQ(got.messages, "a message\n");
}

TEST(RunChild, Limits)
{
    const heard busy = run(
        [](child_port &) {
            for (volatile bool on = true; on;) {
            }
            return 0;
        },
        {.time_s = 1});
    EXPECT_EQ(busy.result.end, child_end::NO_TIME);
#ifndef __SANITIZE_ADDRESS__
    const heard large =
        run([](child_port &) { return std::string(1 << 30, 'x').back() == 'x' ? 0 : 1; },
            {.memory_bytes = 1 << 28});
    EXPECT_EQ(large.result.end, child_end::NO_MEMORY);
#endif
}

// Every door is tried from the inside; errno tells that it is the sandbox that keeps it shut.
TEST(RunChild, SandboxIsShut)
{
    static const struct {
        const char *label;
        int (*attempt)();
    } doors[] = {
        {"read", [] { return open("/etc/passwd", O_RDONLY); }},
        {"write", [] { return open("/tmp/flatctl-sandbox-test", O_WRONLY | O_CREAT, 0600); }},
        {"socket", [] { return socket(AF_INET, SOCK_DGRAM, 0); }},
        {"process", [] { return static_cast<int>(fork()); }},
        {"program", [] { return execl("/bin/true", "true", nullptr); }},
        {"signal", [] { return kill(getppid(), 0); }},
        {"unlink", [] { return unlink("/tmp/flatctl-sandbox-test"); }},
    };
    for (const auto &door : doors) {
        const heard got = run([&](child_port &) {
            errno = 0;
            return door.attempt() == -1 && (errno == EPERM || errno == EACCES) ? 0 : 1;
        });
        EXPECT_EQ(got.result.detail, 0) << door.label;
    }
    // The name service needs sockets and reads files; nothing can be written all the same.
    const heard resolver = run(
        [](child_port &) {
            const bool can_ask = socket(AF_INET, SOCK_DGRAM, 0) >= 0 &&
                                 open("/etc/passwd", O_RDONLY | O_CLOEXEC) >= 0;
            const int written = open("/tmp/flatctl-sandbox-test", O_WRONLY | O_CREAT, 0600);
            return can_ask && written == -1 ? 0 : 1;
        },
        {.may_resolve = true});
    EXPECT_EQ(resolver.result.detail, 0);
    EXPECT_NE(access("/tmp/flatctl-sandbox-test", F_OK), 0);
}
