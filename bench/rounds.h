// Rounds of two works that take turns, so that a machine that drifts drifts for both.
#pragma once

#include <algorithm>
#include <chrono>
#include <iterator>
#include <vector>

// Seconds that `times` calls take; each gets its number.
template <typename CALL> double seconds_of(int times, CALL call)
{
    const auto from = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i)
        call(i);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - from).count();
}

// The upper one of two middle values; `values` is not empty.
inline double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + std::ssize(values) / 2, values.end());
    return values[values.size() / 2];
}
