// The SHA-256 message digest (FIPS 180-4): 32 bytes that tell texts apart, also where one of them
// was chosen by an attacker.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace flatlink
{

inline constexpr std::size_t SHA256_SIZE = 32;       // bytes of a digest
inline constexpr std::size_t SHA256_BLOCK_SIZE = 64; // bytes that are taken in at a time
inline constexpr std::size_t SHA256_WORDS = 8;       // of the state

// A digest in the making.
struct sha256_context {
    std::array<std::uint32_t, SHA256_WORDS> state{};
    std::uint64_t length = 0;                            // bytes so far; counts modulo 2^61
    std::array<std::uint8_t, SHA256_BLOCK_SIZE> block{}; // those of an unfinished block
};

// Begins a digest.
void sha256_init(sha256_context &context);

// Takes `length` bytes in; any number of calls gives the digest of all their bytes together.
void sha256_update(sha256_context &context, const void *bytes, std::size_t length);

// Returns the digest as 64 lower-case hexadecimal digits, and clears the context.
std::string sha256_final(sha256_context &context);

} // namespace flatlink
