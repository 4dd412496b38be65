#include "lib/ulib/string.h"

#include "lib/ulib/heap.h"

#include <cstring>
#include <gtest/gtest.h>

TEST(Bncat, GrowsABufferOfBytes)
{
    static const struct {
        const char *label, *begin, *source;
        int count;
        std::string_view want;
    } cases[] = {
        {"first piece", "", "abc", 3, "abc"},
        {"second piece", "abc", "def", 2, "abcde"},
        {"zero bytes are bytes", "a", "\0b", 2, std::string_view("a\0b", 3)},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const int length = static_cast<int>(std::strlen(row.begin));
        char *start = length == 0 ? nullptr : heap_copy(row.begin);
        const heap_text grown(bncat(start, length, row.source, row.count));
        EXPECT_EQ(std::string_view(grown.get(), row.want.size()), row.want);
        grown.get()[row.want.size()] = '\0'; // the promised room, checked by the sanitizer
    }
}

TEST(Bncat, LeavesTheBufferWhenThereIsNothingToAdd)
{
    const heap_text buffer(heap_copy("abc"));
    EXPECT_EQ(bncat(buffer.get(), 3, "x", 0), buffer.get());
    EXPECT_EQ(bncat(buffer.get(), 3, "x", -1), buffer.get());
    EXPECT_EQ(bncat(buffer.get(), 3, nullptr, 5), buffer.get());
    EXPECT_EQ(bncat(nullptr, 0, "x", 0), nullptr);
}

TEST(Strsave, CopiesAndFillsWithZeros)
{
    static const struct {
        const char *label, *source;
        int length;
        const char *want;
    } cases[] = {
        {"shorter than the source", "abcdef", 3, "abc"},
        {"as long as the source", "abc", 3, "abc"},
        {"longer than the source", "abc", 40, "abc"},
        {"no characters", "abc", 0, ""},
        {"negative", "abc", -7, ""},
        {"empty source", "", 5, ""},
        {"null source", nullptr, 5, ""},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const heap_text copy(strsave(row.source, row.length));
        EXPECT_STREQ(copy.get(), row.want);
        for (int i = static_cast<int>(std::strlen(row.want)); i <= row.length; ++i)
            EXPECT_EQ(copy.get()[i], '\0') << i;
    }
}

TEST(Stradd, Appends)
{
    static const struct {
        const char *label, *text, *source;
        int length;
        const char *want;
    } cases[] = {
        {"all", "ab", "cd", 2, "abcd"},
        {"a part", "ab", "cdef", 1, "abc"},
        {"source ends before", "ab", "c", 99, "abc"},
        {"new text", nullptr, "cd", 1, "c"},
        {"new text of nothing", nullptr, "", 4, ""},
        {"null source", "ab", nullptr, 4, "ab"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        char *text = row.text == nullptr ? nullptr : heap_copy(row.text);
        EXPECT_STREQ(heap_text(stradd(text, row.source, row.length)).get(), row.want);
    }
    EXPECT_EQ(stradd(nullptr, "cd", 0), nullptr);
}

TEST(Repstr, ReplacesInPlace)
{
    static const struct {
        const char *label, *text;
        int oldlength;
        const char *replacement;
        int newlength;
        const char *want;
        int position;
    } cases[] = {
        {"longer", "abXYZ", 2, "12345", 5, "12345XYZ", 5},
        {"shorter", "abcdXYZ", 4, "1", 1, "1XYZ", 1},
        {"as long", "abXYZ", 2, "12", 2, "12XYZ", 2},
        {"insertion", "XYZ", 0, "12", 2, "12XYZ", 2},
        {"removal", "abXYZ", 2, "", 0, "XYZ", 0},
        {"whole text", "ab", 2, "123", 3, "123", 3},
        {"only a part of the replacement", "abXYZ", 2, "12345", 3, "123XYZ", 3},
        {"old length beyond the end", "ab", 9, "1", 1, "1", 1},
        {"new length beyond the end", "abXYZ", 2, "1", 9, "1XYZ", 1},
        {"negative lengths", "ab", -1, "1", -1, "ab", 0},
        {"null replacement", "abXYZ", 2, nullptr, 3, "XYZ", 0},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        char text[32] = {};
        std::string_view(row.text).copy(text, sizeof text - 1);
        const char *position = repstr(text, row.oldlength, row.replacement, row.newlength);
        EXPECT_STREQ(text, row.want);
        EXPECT_EQ(position - text, row.position);
    }
}
