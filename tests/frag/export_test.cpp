#include "lib/frag/export.h"

#include <cstring>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "lib/frag/symbol.h"
#include "tests/frag/flat_tree.h"
#include "tests/frag/random_tree.h"
#include "tests/frag/temp_file.h"

static std::string exported(flat_tree &tree, int version = EXPORT_FLAT)
{
    const temp_file file;
    EXPECT_EQ(exportffile(file.path(), &tree.head, version), 0);
    return file.text();
}

// The tree as exportenv writes it; it stays the tree's.
static std::string saved(flat_tree &tree, int version)
{
    const temp_file file;
    cur_database = &tree.head;
    EXPECT_EQ(exportenv(file.path(), version), 0);
    cur_database = nullptr;
    return file.text();
}

TEST(Export, FlatLines)
{
    static const struct {
        const char *label, *before, *after;
    } cases[] = {
        {"empty tree", "", ""},
        {"no line without a value", "a_b=1\na_c=\n", "a_b=1\na_c=\n"},
        {"a node before its children", "a_b=1\na=2\n", "a=2\na_b=1\n"},
        {"trailing white space", "a=1 \t\r\n", "a=1\n"},
        {"one prefix of several", "permit-absorb-a=1\npermit-deny-b=2\n", "permit-a=1\ndeny-b=2\n"},
        {"names that look like prefixes", "x_permit-relay=1\n", "x_permit-relay=1\n"},
        {"escapes stay", "a%5Fb_c%25=1\n", "a%5Fb_c%25=1\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        flat_tree tree(row.before);
        EXPECT_EQ(exported(tree), row.after);
    }
}

TEST(Export, ValuesAreCutWhereTheyWereCounted)
{
    flat_tree tree("a=1  \n");
    EXPECT_STREQ(fval(&tree.head, "a"), "1  ");
    exported(tree);
    EXPECT_STREQ(fval(&tree.head, "a"), "1");
}

TEST(Export, BytesThatAreNoText)
{
    frag *node = newsymfrag("a");
    set_frag_value(node, "1\0002", 3);
    flat_tree tree("");
    tree.head = node;
    EXPECT_EQ(exported(tree), std::string("a=1\0002\n", 6));
}

TEST(Export, ChildrenBelowLongKeysAreLeftOut)
{
    for (const std::size_t length : {1U, 178U, 179U, 180U, 181U, 360U}) {
        SCOPED_TRACE(length);
        flat_tree tree("");
        const std::string name(length, 'n');
        frag *node = fset(&tree.head, name.c_str(), "1");
        fset_list(&node, "child", "2");
        std::string wanted = name + "=1\n";
        if (length < 180)
            wanted += name + "_child=2\n";
        EXPECT_EQ(exported(tree), wanted);
    }
}

TEST(Export, ALongNameIsWrittenWhole)
{
    flat_tree tree("");
    const std::string name(100000, 'n');
    fset(&tree.head, name.c_str(), "1");
    EXPECT_EQ(exported(tree), name + "=1\n");
}

TEST(Export, PartOfATreeWithItsKeys)
{
    flat_tree tree("a_b_c=1\na_b_d=2\n");
    const temp_file file;
    std::FILE *stream = std::fopen(file.path(), "w");
    frag *part = ffind(&tree.head, "a_b_c");
    EXPECT_EQ(outffile(stream, part, EXPORT_FLAT, static_cast<int>(std::strlen("a_b_"))), 0);
    std::fclose(stream);
    EXPECT_EQ(file.text(), "a_b_c=1\na_b_d=2\n");
}

TEST(Export, FailuresAreReported)
{
    flat_tree tree("a=1\n");
    EXPECT_EQ(exportffile("/no/such/folder/file", &tree.head, EXPORT_FLAT), 1);
    // Small enough for the stream's buffer: only the close can tell.
    EXPECT_EQ(exportffile("/dev/full", &tree.head, EXPORT_FLAT), 1);
    fset(&tree.head, "b", std::string(100000, 'x').c_str());
    EXPECT_EQ(exportffile("/dev/full", &tree.head, EXPORT_FLAT), 1);
}

TEST(Export, StandardOutputIsClosedAndWorksOnce)
{
    flat_tree tree("a=1\n");
    const temp_file file;
    EXPECT_EXIT(
        {
            const bool is_open = std::freopen(file.path(), "w", stdout) != nullptr;
            const int first = exportffile(nullptr, &tree.head, EXPORT_FLAT);
            const int second = exportffile(nullptr, &tree.head, EXPORT_FLAT);
            _exit(is_open && first == 0 && second == 1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(file.text(), "a=1\n");
}

TEST(ExportEnv, TheVersionIsStampedIntoACopy)
{
    static const struct {
        const char *label;
        int version;
        const char *before, *after;
    } cases[] = {
        {"empty", 0, "", "version_varnholt.conf=000\n"},
        {"taken as 0", 1, "a=1\n", "version_varnholt.conf=000\na=1\n"},
        {"taken as 0 too", 41, "a=1\n", "version_varnholt.conf=000\na=1\n"},
        {"any other", 42, "version_x=1\n", "version_varnholt.conf=042\nversion_x=1\n"},
        {"in its place", 1234, "a=1\nversion_varnholt.conf=000\n",
         "a=1\nversion_varnholt.conf=1234\n"},
        {"what is not saved", 0, "temp_x=1\ndef_proxy_*_x=1\ndef_proxy_a=1\n",
         "version_varnholt.conf=000\ndef_proxy_a=1\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        flat_tree tree(row.before);
        const std::string before = tree.listing();
        EXPECT_EQ(saved(tree, row.version), row.after);
        EXPECT_EQ(tree.listing(), before);
    }
}

TEST(ExportEnv, OutAndInIsTheSameTreeAndTheSameBytes)
{
    for (unsigned seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        flat_tree tree(random_flat_text(seed));
        const std::string text = saved(tree, EXPORT_FLAT);
        EXPECT_EQ(saved(tree, EXPORT_FLAT), text);
        flat_tree again(text);
        EXPECT_EQ(saved(again, EXPORT_FLAT), text);
        fset(&tree.head, "version_varnholt.conf", "000");
        // Several prefixes of a node are written as one.
        EXPECT_EQ(again.listing(), tree.listing());
    }
}
