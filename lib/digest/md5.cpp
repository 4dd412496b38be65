#include "lib/digest/md5.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace
{

// Of each round: how far its four steps rotate, and which word of the block a step takes, the
// step's number times `stride` and `first` more.
struct round_row {
    std::array<int, 4> rotations;
    unsigned stride;
    unsigned first;
};

constexpr round_row rounds[] = {
    {{7, 12, 17, 22}, 1, 0},
    {{5, 9, 14, 20}, 5, 1},
    {{4, 11, 16, 23}, 3, 5},
    {{6, 10, 15, 21}, 7, 0},
};

constexpr unsigned STEPS_OF_ROUND = 16;
constexpr std::size_t LENGTH_SIZE = 8; // bytes of the bit count that ends the last block

// What a step adds: 2^32 times the absolute sine of its number, from 1 on, in radians.
std::uint32_t addend(unsigned step)
{
    static const auto addends = [] {
        std::array<std::uint32_t, std::size(rounds) * STEPS_OF_ROUND> values{};
        for (std::size_t pos = 0; pos < values.size(); ++pos)
            values[pos] = static_cast<std::uint32_t>(
                std::floor(std::ldexp(std::fabs(std::sin(static_cast<double>(pos + 1))), 32)));
        return values;
    }();
    return addends[step];
}

// The function of each round.
std::uint32_t mixed(unsigned round, std::uint32_t b, std::uint32_t c, std::uint32_t d)
{
    switch (round) {
    case 0:
        return (b & c) | (~b & d);
    case 1:
        return (b & d) | (c & ~d);
    case 2:
        return b ^ c ^ d;
    default:
        return c ^ (b | ~d);
    }
}

// Bytes of numbers stand lowest first, whatever the host does.
std::uint32_t word_at(const std::uint8_t *bytes)
{
    std::uint32_t word = 0;
    for (int pos = 3; pos >= 0; --pos)
        word = word << 8 | bytes[pos];
    return word;
}

void take_block(vMD5_context &context, const std::uint8_t *block)
{
    auto [a, b, c, d] = context.state;
    for (unsigned step = 0; step < std::size(rounds) * STEPS_OF_ROUND; ++step) {
        const unsigned round = step / STEPS_OF_ROUND;
        const round_row &row = rounds[round];
        const std::uint32_t word = word_at(block + (step * row.stride + row.first) % 16 * 4);
        const std::uint32_t sum = a + mixed(round, b, c, d) + word + addend(step);
        a = d;
        d = c;
        c = b;
        b += std::rotl(sum, row.rotations[step % 4]);
    }
    context.state = {context.state[0] + a, context.state[1] + b, context.state[2] + c,
                     context.state[3] + d};
}

} // namespace

void vMD5Init(vMD5_context *context)
{
    *context = {.state = {0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476}};
}

void vMD5Update(vMD5_context *context, const void *bytes, std::size_t length)
{
    const auto *next = static_cast<const std::uint8_t *>(bytes);
    while (length > 0) {
        const std::size_t filled = context->length % MD5_BLOCK_SIZE;
        const std::size_t taken = std::min(length, MD5_BLOCK_SIZE - filled);
        std::memcpy(context->block.data() + filled, next, taken);
        context->length += taken;
        next += taken;
        length -= taken;
        if (filled + taken == MD5_BLOCK_SIZE)
            take_block(*context, context->block.data());
    }
}

void vMD5Final(std::uint8_t *digest, vMD5_context *context)
{
    std::array<std::uint8_t, LENGTH_SIZE> bits{};
    for (std::size_t pos = 0; pos < bits.size(); ++pos)
        bits[pos] = static_cast<std::uint8_t>(context->length * 8 >> 8 * pos);
    static constexpr std::array<std::uint8_t, MD5_BLOCK_SIZE> padding{0x80}; // one bit, then zeros
    const std::size_t filled = context->length % MD5_BLOCK_SIZE;
    const std::size_t room = 2 * MD5_BLOCK_SIZE - LENGTH_SIZE - filled;
    vMD5Update(context, padding.data(), room > MD5_BLOCK_SIZE ? room - MD5_BLOCK_SIZE : room);
    vMD5Update(context, bits.data(), bits.size());
    for (std::size_t pos = 0; pos < MD5_SIZE; ++pos)
        digest[pos] = static_cast<std::uint8_t>(context->state[pos / 4] >> 8 * (pos % 4));
    *context = {};
}

void vMDhash(const void *bytes, std::size_t length, std::uint8_t *digest)
{
    vMD5_context context;
    vMD5Init(&context);
    vMD5Update(&context, bytes, length);
    vMD5Final(digest, &context);
}
