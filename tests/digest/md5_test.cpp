#include "lib/digest/md5.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <string>

static std::string in_hex(const std::uint8_t *digest)
{
    std::string text;
    for (std::size_t pos = 0; pos < MD5_SIZE; ++pos) {
        char digits[3];
        std::snprintf(digits, sizeof digits, "%02x", digest[pos]);
        text += digits;
    }
    return text;
}

TEST(Md5, DigestsOfRfc1321InPiecesOfAnySize)
{
    const struct {
        std::string text, digest;
    } rows[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"1234567890123456789012345678901234567890123456789012345678901234567890123456789"
         "0",
         "57edf4a22be3c955ac49da2e2107b67a"},
        // The padding fills the last block, needs another, or is a block of its own.
        {std::string(55, 'x'), "04364420e25c512fd958a70738aa8f72"},
        {std::string(56, 'x'), "668a72d5ba17f08e62dabcafad6db14b"},
        {std::string(64, 'x'), "c1bb4f81d892b2d57947682aeb252456"},
    };
    for (const auto &row : rows) {
        std::uint8_t digest[MD5_SIZE];
        vMDhash(row.text.data(), row.text.size(), digest);
        EXPECT_EQ(in_hex(digest), row.digest) << row.text;
        for (const std::size_t size : {1U, 7U, 63U}) {
            vMD5_context context;
            vMD5Init(&context);
            for (std::size_t pos = 0; pos < row.text.size(); pos += size)
                vMD5Update(&context, row.text.data() + pos, std::min(size, row.text.size() - pos));
            vMD5Final(digest, &context);
            EXPECT_EQ(in_hex(digest), row.digest) << row.text << " by " << size;
        }
    }
}
