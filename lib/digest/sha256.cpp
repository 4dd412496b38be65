#include "lib/digest/sha256.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

using namespace flatlink;

static constexpr std::size_t ROUNDS = 64;
static constexpr std::size_t BLOCK_WORDS = 16;
static constexpr std::size_t LENGTH_SIZE = 8; // bytes of the bit count that ends the last block

// The first 32 bits of the fractional part.
static std::uint32_t fraction_bits(double value)
{
    return static_cast<std::uint32_t>(std::floor(std::ldexp(value - std::floor(value), 32)));
}

// Of each of the first primes, as many as there are elements: the fraction of its root.
template <std::size_t count>
static std::array<std::uint32_t, count> roots_of_primes(double (*root)(double))
{
    std::array<std::uint32_t, count> values{};
    std::size_t found = 0;
    for (unsigned number = 2; found < count; ++number) {
        unsigned divisor = 2;
        while (number % divisor != 0)
            ++divisor;
        if (divisor == number)
            values[found++] = fraction_bits(root(number));
    }
    return values;
}

// Bytes of numbers stand highest first, whatever the host does.
static std::uint32_t word_at(const std::uint8_t *bytes)
{
    std::uint32_t word = 0;
    for (int pos = 0; pos < 4; ++pos)
        word = word << 8 | bytes[pos];
    return word;
}

// The block's words, and those that are mixed from them for the later rounds.
static std::array<std::uint32_t, ROUNDS> schedule_of(const std::uint8_t *block)
{
    std::array<std::uint32_t, ROUNDS> words{};
    for (std::size_t i = 0; i < BLOCK_WORDS; ++i)
        words[i] = word_at(block + 4 * i);
    for (std::size_t i = BLOCK_WORDS; i < ROUNDS; ++i) {
        const std::uint32_t early = words[i - 15], late = words[i - 2];
        words[i] = words[i - 16] + (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) +
                   words[i - 7] + (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
    }
    return words;
}

static void take_block(sha256_context &context, const std::uint8_t *block)
{
    static const auto addends =
        roots_of_primes<ROUNDS>([](double number) { return std::cbrt(number); });
    const auto words = schedule_of(block);
    auto [a, b, c, d, e, f, g, h] = context.state;
    for (std::size_t i = 0; i < ROUNDS; ++i) {
        const std::uint32_t first = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                                    ((e & f) ^ (~e & g)) + addends[i] + words[i];
        const std::uint32_t second =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    const std::array<std::uint32_t, SHA256_WORDS> mixed{a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < SHA256_WORDS; ++i)
        context.state[i] += mixed[i];
}

void flatlink::sha256_init(sha256_context &context)
{
    context = {.state =
                   roots_of_primes<SHA256_WORDS>([](double number) { return std::sqrt(number); })};
}

void flatlink::sha256_update(sha256_context &context, const void *bytes, std::size_t length)
{
    const auto *next = static_cast<const std::uint8_t *>(bytes);
    while (length > 0) {
        const std::size_t filled = context.length % SHA256_BLOCK_SIZE;
        const std::size_t taken = std::min(length, SHA256_BLOCK_SIZE - filled);
        std::memcpy(context.block.data() + filled, next, taken);
        context.length += taken;
        next += taken;
        length -= taken;
        if (filled + taken == SHA256_BLOCK_SIZE)
            take_block(context, context.block.data());
    }
}

std::string flatlink::sha256_final(sha256_context &context)
{
    std::array<std::uint8_t, LENGTH_SIZE> bits{};
    for (std::size_t pos = 0; pos < bits.size(); ++pos)
        bits[pos] = static_cast<std::uint8_t>(context.length * 8 >> 8 * (bits.size() - 1 - pos));
    static constexpr std::array<std::uint8_t, SHA256_BLOCK_SIZE> padding{0x80}; // a bit, then zeros
    const std::size_t filled = context.length % SHA256_BLOCK_SIZE;
    const std::size_t room = 2 * SHA256_BLOCK_SIZE - LENGTH_SIZE - filled;
    sha256_update(context, padding.data(),
                  room > SHA256_BLOCK_SIZE ? room - SHA256_BLOCK_SIZE : room);
    sha256_update(context, bits.data(), bits.size());
    std::string text;
    for (const std::uint32_t word : context.state)
        for (int shift = 28; shift >= 0; shift -= 4)
            text += "0123456789abcdef"[word >> shift & 15];
    context = {};
    return text;
}
