#include "lib/ulib/environ.h"

#include <gtest/gtest.h>
#include <unistd.h>

// Replaces the whole environment for one test.
struct swapped_environ {
    char **before = environ;
    explicit swapped_environ(char **entries) { environ = entries; }
    ~swapped_environ() { environ = before; }
    swapped_environ(const swapped_environ &) = delete;
    swapped_environ &operator=(const swapped_environ &) = delete;
};

static char alpha[] = "ALPHA=1";
static char alphabet[] = "ALPHABET=2";
static char bare[] = "BARE";
static char empty[] = "EMPTY=";
static char again[] = "ALPHA=3=4";
static char other[] = "BETA=3=4";
static char *entries[] = {alphabet, alpha, bare, empty, again, other, nullptr};

TEST(Findenv, FindsTheFirstEntryOfThatName)
{
    static const struct {
        const char *label, *name, *value;
        int offset;
    } cases[] = {
        {"first of two", "ALPHA", "1", 1},
        {"longer name", "ALPHABET", "2", 0},
        {"front of a name", "ALPH", nullptr, -1},
        {"name up to an equals sign", "ALPHA=x", "1", 1},
        {"value with an equals sign", "BETA", "3=4", 5},
        {"empty value", "EMPTY", "", 3},
        {"entry without equals sign", "BARE", nullptr, -1},
        {"case counts", "alpha", nullptr, -1},
        {"empty name", "", nullptr, -1},
        {"null name", nullptr, nullptr, -1},
    };
    const swapped_environ swap(entries);
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        int offset = -1;
        EXPECT_STREQ(_findenv(row.name, &offset), row.value);
        EXPECT_EQ(offset, row.offset);
        EXPECT_STREQ(_findenv(row.name, nullptr), row.value);
    }
}

TEST(Getenv, TakesThePlaceOfThePlatformsCall)
{
    const swapped_environ swap(entries);
    EXPECT_STREQ(getenv("EMPTY"), "");
    EXPECT_EQ(getenv("GAMMA"), nullptr);
    // The platform's own would look for a variable of the whole name.
    EXPECT_STREQ(getenv("BETA=no"), "3=4");
}

TEST(Getenv, TakesNoEnvironment)
{
    const swapped_environ swap(nullptr);
    int offset = -1;
    EXPECT_EQ(getenv("ALPHA"), nullptr);
    EXPECT_EQ(_findenv("ALPHA", &offset), nullptr);
    EXPECT_EQ(offset, -1);
}
