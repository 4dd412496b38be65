#include "lib/ulib/strlist.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

static std::vector<std::string> released;

static void note_release(void *entry)
{
    released.emplace_back(static_cast<const char *>(entry));
}

TEST(Addptrlist, KeepsOrderAndCount)
{
    char first[] = "first";
    char second[] = "second";
    int count = -1;
    char **list = addptrlist(nullptr, first, &count);
    EXPECT_EQ(count, 1);
    list = addptrlist(list, second, nullptr);
    list = addptrlist(list, nullptr, &count);
    EXPECT_EQ(count, 2) << "null ends a list and is no entry";
    list = addptrlist(list, first, &count);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(list[0], first);
    EXPECT_EQ(list[1], second);
    EXPECT_EQ(list[2], first);
    EXPECT_EQ(list[3], nullptr);

    released.clear();
    freestrlist(list, note_release);
    EXPECT_EQ(released, (std::vector<std::string>{"first", "second", "first"}));
}

TEST(Addstrlist, CopiesAsManyCharactersAsAsked)
{
    int length = 3;
    heap_strlist list(addstrlist(nullptr, "abcdef", &length));
    EXPECT_EQ(length, 1);
    length = 0;
    list.reset(addstrlist(list.release(), "abc", &length));
    EXPECT_EQ(length, 2);
    list.reset(addstrlist(list.release(), "abc", nullptr));
    length = 5;
    list.reset(addstrlist(list.release(), nullptr, &length));
    EXPECT_EQ(length, 4);
    static const char *const want[] = {"abc", "", "", ""};
    for (std::size_t i = 0; i < std::size(want); ++i)
        EXPECT_STREQ(list[i], want[i]) << i;
    EXPECT_EQ(list[4], nullptr);
}

TEST(Freestrlist, TakesNull)
{
    released.clear();
    freestrlist(nullptr, note_release);
    freestrlist(nullptr, nullptr);
    EXPECT_TRUE(released.empty());
}
