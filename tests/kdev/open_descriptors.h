// Descriptors that this process has open, to compare with a later count.
#pragma once

#include <filesystem>

inline std::ptrdiff_t open_descriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}
