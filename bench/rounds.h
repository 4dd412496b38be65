// Alternating rounds of two workloads, so that a drift of the machine's speed affects both.
#pragma once

#include <algorithm>
#include <chrono>
#include <iterator>
#include <vector>

// Seconds for `times` calls; each gets its index.
template <typename callback> double seconds_of(int times, callback call)
{
    const auto from = std::chrono::steady_clock::now();
    for (int i = 0; i < times; ++i)
        call(i);
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - from).count();
}

// The median, the upper one of two middle values; `values` must not be empty.
inline double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + std::ssize(values) / 2, values.end());
    return values[values.size() / 2];
}
