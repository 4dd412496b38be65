// Runs a part of a test in a network of its own, which ends with it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>
#include <initializer_list>
#include <sched.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

// Runs `body` in a child that has a fresh network namespace. Checks that fail in it print their
// message and fail the test. Needs root; call SKIP_UNLESS_ROOT first.
inline void in_network_namespace(const std::function<void()> &body)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        const bool moved = unshare(CLONE_NEWNET) == 0;
        EXPECT_TRUE(moved) << "unshare failed";
        if (moved)
            body();
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0)
        << "the child's checks failed, status " << status;
}

#define SKIP_UNLESS_ROOT()                                                                         \
    if (geteuid() != 0)                                                                            \
    GTEST_SKIP() << "a network namespace needs root"

// Runs shell commands; each must succeed.
inline void run_commands(std::initializer_list<const char *> commands)
{
    for (const char *command : commands)
        EXPECT_EQ(0, std::system(command)) << command;
}

// The output of a shell command.
inline std::string output_of(const char *command)
{
    std::string text;
    FILE *pipe = popen(command, "r");
    if (pipe == nullptr)
        return "popen failed";
    char piece[256];
    while (std::fgets(piece, sizeof piece, pipe) != nullptr)
        text += piece;
    pclose(pipe);
    return text;
}
