// What is printed of hostile bytes, as text and as JSON.
#include "flatctl/common/json_write.h"
#include "flatctl/common/text_write.h"
#include "tests/fuzz/memory_file.h"

#include <gtest/gtest.h>

using namespace flatlink;

TEST(TextWrite, HostileBytes)
{
    std::string every;
    for (int byte = 0; byte < 256; ++byte)
        every += static_cast<char>(byte);
    const std::string text = shown(every);
    for (std::size_t i = 0; i < text.size(); ++i) {
        const unsigned byte = static_cast<unsigned char>(text[i]);
        EXPECT_TRUE(byte >= 0x20 && byte != 0x7F) << i;
        EXPECT_FALSE(byte == 0xC2 && static_cast<unsigned char>(text[i + 1]) < 0xA0) << i;
    }
    EXPECT_EQ(shown("a\n\x9b"
                    "1m\xe9"),
              "a\\x0a\\x9b"
              "1m\xc3\xa9");
    EXPECT_EQ(shown_line(std::string(200, 'x')), std::string(200, 'x'));
    EXPECT_EQ(shown_line(std::string(201, 'x')), std::string(200, 'x') + "...");
}

TEST(TextWrite, ColoursOnDemandOnly)
{
    EXPECT_EQ(palette("always", -1).painted(ink::ERROR, "x"), "\033[1;31mx\033[0m");
    EXPECT_EQ(palette("never", -1).painted(ink::ERROR, "x"), "x");
    EXPECT_EQ(palette("auto", -1).painted(ink::ERROR, "x"), "x"); // no terminal
}

static std::string json(const std::function<void(json_writer &)> &body)
{
    memory_file file;
    json_writer out(file.stream, "test/1");
    body(out);
    out.finish();
    std::fclose(file.stream);
    return {file.bytes, file.size};
}

TEST(JsonWrite, Structure)
{
    EXPECT_EQ(json([](json_writer &) {}), "{\"schema\":\"flatctl/test/1\"}\n");
    EXPECT_EQ(json([](json_writer &out) {
                  out.open("a", '[').open("", '{').number("n", -1).boolean("b", true).close('}');
                  out.open("", '{').close('}').close(']').text("t", "\"\\\n\x7f<");
              }),
              "{\"schema\":\"flatctl/test/1\",\"a\":[{\"n\":-1,\"b\":true},{}],"
              "\"t\":\"\\\"\\\\\\u000a\\u007f<\"}\n");
    EXPECT_EQ(json([](json_writer &out) { out.text("t", "\xe9"); }),
              "{\"schema\":\"flatctl/test/1\",\"t\":\"\xc3\xa9\",\"latin1\":true}\n");
}
