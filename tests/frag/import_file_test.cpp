#include <cerrno>
#include <fstream>
#include <gtest/gtest.h>
#include <random>
#include <string>

#include "lib/frag/import.h"
#include "lib/frag/symbol.h"
#include "tests/frag/effort.h"
#include "tests/frag/temp_file.h"
#include "tests/frag/tree_text.h"

static void write_file(const char *path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// ---- blocks

TEST(ImportFile, BlocksThatEndAnywhere)
{
    // The tail has a byte of every state, and lies across the end of the first block.
    const std::string tail = "\r\nlong name_of%5F=it  \r\n<t a_b = 'c' d=\"\"/>\n"
                             "<u>x<!-- - -- -->y</u><?v w='x'?>z</?v><!d>[p\\q]\nr=1\\ no\n 2\r\n";
    const temp_file file;
    for (std::size_t size = IMPORT_BLOCK_SIZE - 1; size <= IMPORT_BLOCK_SIZE + tail.size() + 2;
         ++size) {
        SCOPED_TRACE(size);
        const std::size_t length = size - tail.size() - 2;
        const std::string value(length, 'v');
        write_file(file.path(), "k=" + value + tail);
        owned_tree tree;
        ASSERT_EQ(importffile(file.path(), &tree.head, 0), 0);
        ASSERT_EQ(import_read_error(), 0);
        ASSERT_EQ(tree_text(tree.head), "k=\"" + value +
                                            R"(" long name{of%5F="it  "/2} t{attrs{a_b ="c" d=""}})"
                                            R"( u="xy" ?v="z"{attrs{w="x"}} p{q{r="12"}})");
    }
}

TEST(ImportFile, ValuesOfManyBlocks)
{
    const temp_file file;
    for (const std::size_t blocks : {1UL, 2UL, 40UL})
        for (const std::size_t more : {0UL, 1UL}) {
            const std::string value(blocks * IMPORT_BLOCK_SIZE - 3 + more, 'v');
            write_file(file.path(), "k=" + value + "\nl=1");
            owned_tree tree;
            ASSERT_EQ(importffile(file.path(), &tree.head, 0), 0);
            EXPECT_EQ(tree_text(tree.head), "k=\"" + value + R"(" l="1")");
        }
}

// ---- pieces: any text gives the same tree, however it is cut

using random_numbers = std::mt19937;

template <typename table> static auto pick(random_numbers &random, const table &from)
{
    return from[random() % std::size(from)];
}

static std::string random_marks(random_numbers &random)
{
    static const std::string marks[] = {
        "a",
        "b",
        "b",
        "x",
        "permit-",
        "deny-spam",
        "_",
        "_",
        "=",
        "=",
        "\n",
        "\n",
        "\n",
        "\r\n",
        "\r",
        " ",
        "\t",
        "[",
        "]",
        "\\",
        "<",
        ">",
        "</",
        "/>",
        "<!--",
        "-->",
        "-- ",
        "<!",
        "<?a",
        "?>",
        "\"",
        "'",
        "='",
        "attrs",
        "<a>",
        "</a>",
        "<b ",
        "</b>",
        "%5F",
        "\xFF",
        "\n[",
        "]",
        "<a/>",
        std::string(1, '\0'),
        std::string(63, 't'),
        std::string(127, 'n'),
    };
    std::string text;
    for (auto count = random() % 60; count > 0; --count)
        text += pick(random, marks);
    return text;
}

// Flat lines below few parents, so that these get tries, with elements between them.
static std::string random_lines(random_numbers &random)
{
    static constexpr const char *PARENTS[] = {"p", "q", "p_7", "permit-p", "attrs"};
    static constexpr const char *FRAMES[] = {"", "", "", "", "\r", "<!d>", "<a/>", " "};
    std::string text;
    for (auto count = random() % 120; count > 0; --count) {
        const std::string parent = pick(random, PARENTS);
        const std::string child = std::to_string(random() % 25);
        text += pick(random, FRAMES);
        if (random() % 8 == 0)
            text += parent + "_<" + child + " c='1'>x</" + child + "><!d>" + child + "=y\n";
        else
            text += parent + "_" + child + (random() % 4 == 0 ? "_z" : "") + "=v \n";
    }
    if (random() % 2 == 0)
        text += "[p]\n3=s\n30=s\n30=t\n[q_p]\n7_1=\n";
    return text;
}

static std::string imported(const std::string &text, int keep, std::size_t size)
{
    owned_tree tree("p_1=old\nb_a=old\np_x=\n");
    tree.import(text, keep, size);
    return tree_text(tree.head);
}

TEST(ImportPieces, OfAnySizeGiveTheSameTree)
{
    random_numbers random(20231);
    for (int round = 0; round < 6000 / SLOWDOWN; ++round) {
        SCOPED_TRACE(round);
        const std::string text = round % 2 == 0 ? random_marks(random) : random_lines(random);
        const int keep = static_cast<int>(random() % 2);
        const std::string whole = imported(text, keep, 0);
        for (const std::size_t size : {1UL, 2UL, 3UL, 7UL, 64UL})
            ASSERT_EQ(imported(text, keep, size), whole) << size << "\n" << text;
    }
}

// ---- the calls on files

TEST(ImportFile, CannotBeOpened)
{
    const temp_file file;
    owned_tree tree("a=1\nb=2\n");
    errno = 0;
    EXPECT_EQ(importffile((std::string(file.path()) + "/none").c_str(), &tree.head, 0), 1);
    EXPECT_EQ(errno, ENOTDIR);
    EXPECT_EQ(tree_text(tree.head), R"(a="1" b="2")");
}

TEST(ImportFile, CannotBeRead)
{
    owned_tree tree("a=1\nb=2\n");
    EXPECT_EQ(importffile(testing::TempDir().c_str(), &tree.head, 0), 0);
    EXPECT_EQ(import_read_error(), EISDIR);
    EXPECT_EQ(tree_text(tree.head), R"(b="2" a="1")");
}

namespace
{

// The program's trees, empty before and after a test.
struct program_trees {
    program_trees() { cur_database = nullptr; }
    ~program_trees()
    {
        free_fraglist(&def_database);
        cur_database = nullptr;
    }
};

} // namespace

TEST(ImportEnv, FoldsTheStarProxy)
{
    static const struct {
        const char *label, *file, *want;
    } rows[] = {
        {"no such node", "def_proxy_global_a=1\n", R"(def{proxy{global{a="1"}}})"},
        {"values move in front of new ones", "def_proxy_*_a=1\ndef_proxy_*_b=2\nx=\n",
         R"(def{proxy{global{b="2" a="1"}}} x="")"},
        {"values replace", "def_proxy_global_a=1\ndef_proxy_global_a_c=3\ndef_proxy_*_a=2\n",
         R"(def{proxy{global{a="2"{c="3"}}}})"},
        {"what lies below is lost, no value counts", "def_proxy_global_a=1\ndef_proxy_*_a_c=2\n",
         R"(def{proxy{global{a}}})"},
        {"other proxies stay", "def_proxy_*=1\ndef_proxy_p_a=2\n", R"(def{proxy{p{a="2"}}})"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        const program_trees trees;
        const temp_file file;
        write_file(file.path(), row.file);
        EXPECT_EQ(importenv(file.path()), 0);
        EXPECT_EQ(cur_database, &def_database);
        EXPECT_EQ(tree_text(def_database), row.want);
    }
}

TEST(ImportEnv, LeavesTheTreeWithoutAFile)
{
    const program_trees trees;
    symset("def_proxy_*_a", "1");
    EXPECT_EQ(importenv((testing::TempDir() + "/no/such/file").c_str()), 1);
    EXPECT_STREQ(symval("def_proxy_*_a"), "1");
}

TEST(ImportInitialEnv, KeepsWhatIsThere)
{
    const program_trees trees;
    owned_tree other("a=1\n");
    cur_database = &other.head;
    const temp_file file;
    write_file(file.path(), "a=2\ndef_proxy_*_a=3\n");
    EXPECT_EQ(importinitialenv(file.path()), 0);
    EXPECT_EQ(importinitialenv((testing::TempDir() + "/no/such/file").c_str()), 1);
    EXPECT_EQ(tree_text(other.head), R"(a="1" def{proxy{*{a="3"}}})");
    EXPECT_EQ(def_database, nullptr);
}
