#include "lib/digest/sha256.h"

#include <algorithm>
#include <gtest/gtest.h>

using namespace flatlink;

static std::string digest_of(const std::string &text, std::size_t piece)
{
    sha256_context context;
    sha256_init(context);
    for (std::size_t pos = 0; pos < text.size(); pos += piece)
        sha256_update(context, text.data() + pos, std::min(piece, text.size() - pos));
    return sha256_final(context);
}

TEST(Sha256, DigestsOfFips180InPiecesOfAnySize)
{
    const struct {
        std::string text;
        const char *digest;
    } rows[] = {
        {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq", // needs another block
         "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmnoijklmnopjklmnopqklmnopqr"
         "lmnopqrsmnopqrstnopqrstu",
         "cf5b16a778af8380036ce59e7b0492370b249b11e8f07a51afac45037afee9d1"},
        {std::string(1'000'000, 'a'),
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto &row : rows)
        for (const std::size_t piece : {7U, 63U, 64U, 1'000'000U})
            EXPECT_EQ(digest_of(row.text, piece), row.digest) << row.text.size() << " by " << piece;
}
