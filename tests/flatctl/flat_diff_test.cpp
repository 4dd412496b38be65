#include "flatctl/forms/flat_diff.h"

#include "tests/case_lines.h"

#include <gtest/gtest.h>

using namespace flatlink;

static std::string changes(std::string_view before, std::string_view after)
{
    std::string text;
    for (const flat_change &change : compare_flat(before, after))
        text += shown_change(change, false);
    return text;
}

TEST(FlatDiff, Records)
{
    for (case_row &row : case_rows("flatctl/flat_changes", "from then want")) {
        SCOPED_TRACE(row["case"]);
        EXPECT_EQ(changes(bytes_of(row["from"]), bytes_of(row["then"])), whole_lines(row["want"]));
    }
}

TEST(FlatDiff, SecretsStayHidden)
{
    const std::string text =
        changes("vpn_anonsecret=first\nkey_0001_id=i\nkey_0001_key=00aa\nvlink_1_secret=one\n"
                "link_0001_okey=11cc\n",
                "vpn_anonsecret=second\nkey_0001_id=i\nkey_0001_key=00bb\nvlink_1_secret=two\n"
                "link_0001_okey=11dd\n");
    for (const char *secret : {"first", "second", "00aa", "00bb", "one", "two", "11cc", "11dd"})
        EXPECT_EQ(text.find(secret), std::string::npos) << text;
    EXPECT_NE(text.find("+ secret=<secret "), std::string::npos) << text;
}
