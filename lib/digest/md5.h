// The MD5 message digest (RFC 1321): sixteen bytes that tell texts apart and that old peers and
// stored keys use. It withstands no attacker: two texts of one digest are made in seconds.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

inline constexpr std::size_t MD5_SIZE = 16;       // bytes of a digest
inline constexpr std::size_t MD5_BLOCK_SIZE = 64; // bytes that are taken in at a time

// A digest in the making.
struct vMD5_context {
    std::array<std::uint32_t, 4> state{};
    std::uint64_t length = 0;                         // bytes so far; counts modulo 2^61
    std::array<std::uint8_t, MD5_BLOCK_SIZE> block{}; // those of an unfinished block
};

// Begins a digest.
void vMD5Init(vMD5_context *context);

// Takes `length` bytes in; any number of calls gives the digest of all their bytes together.
void vMD5Update(vMD5_context *context, const void *bytes, std::size_t length);

// Stores the digest in the room of MD5_SIZE bytes at `digest`, and clears the context.
void vMD5Final(std::uint8_t *digest, vMD5_context *context);

// The three in one: the digest of `length` bytes.
void vMDhash(const void *bytes, std::size_t length, std::uint8_t *digest);
