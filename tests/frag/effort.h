// How much a test may do: a build with sanitizers runs an order of magnitude slower.
#pragma once

#if defined(__SANITIZE_ADDRESS__)
inline constexpr int SLOWDOWN = 10;
#else
inline constexpr int SLOWDOWN = 1;
#endif
