// A file of a test's own, which goes with the block that made it.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

class temp_file
{
  public:
    temp_file() : path_(testing::TempDir() + "frag_XXXXXX")
    {
        const int fd = mkstemp(path_.data());
        EXPECT_GE(fd, 0);
        close(fd);
    }
    ~temp_file() { std::remove(path_.c_str()); }
    temp_file(const temp_file &) = delete;
    temp_file &operator=(const temp_file &) = delete;

    const char *path() const { return path_.c_str(); }

    std::string text() const
    {
        std::ifstream stream(path_, std::ios::binary);
        std::ostringstream text;
        text << stream.rdbuf();
        return text.str();
    }

  private:
    std::string path_;
};
