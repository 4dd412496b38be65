#include "lib/frag/frag_text.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <string>

#include "tests/frag/tree_text.h"

using namespace std::string_literals;

TEST(FragIsblank, Cases)
{
    static const struct {
        const char *text;
        bool want;
    } rows[] = {{nullptr, true}, {"", true},   {" \t ", true},
                {"\n", false},   {"0", false}, {"  a ", false}};
    for (const auto &row : rows)
        EXPECT_EQ(frag_isblank(row.text), row.want) << testing::PrintToString(row.text);
}

TEST(FragIstrue, Cases)
{
    static const struct {
        const char *text;
        int want;
    } rows[] = {
        {nullptr, 0},
        {"", 0},
        {" \t", 0},
        {"on", 1},
        {"YES", 1},
        {"\t True", 1},
        {"off", 0},
        {"No", 0},
        {"FALSE", 0},
        {"1", 1},
        {" 0042x", 42},
        {"0", 0},
        {"-1", 0},
        {"maybe", 0},
        {"onward", 0},
        {"on ", 0},
        {"99999999999", 2147483647},
    };
    for (const auto &row : rows)
        EXPECT_EQ(frag_istrue(row.text), row.want) << testing::PrintToString(row.text);
}

TEST(FragStrdup, GivesItsOwnCopy)
{
    const char *text = "abc";
    char *copy = frag_strdup(text);
    EXPECT_NE(copy, text);
    EXPECT_STREQ(copy, text);
    std::free(copy);
}

TEST(StripCrlfTree, CutsTextAndLength)
{
    // A flat line's length is cut already, and what lies behind it stays.
    owned_tree tree("a=1 \t\na_b= \na_c=\nd=x y\n[s]\nk= v\t \r\\ \n \n");
    EXPECT_EQ(tree_text(tree.head), "a=\"1 \t\"/1{b=\" \"/0 c=\"\"} d=\"x y\" s{k=\" v\t \"}");
    EXPECT_EQ(strip_crlf_tree(&tree.head), 0);
    EXPECT_EQ(tree_text(tree.head), "a=\"1 \t\"/1{b=\" \"/0 c=\"\"} d=\"x y\" s{k=\" v\"}");
    for (const auto &[value, want] : {std::pair("x \r\n\t", "x"), std::pair(" \n", "")}) {
        fset(&tree.head, "a_b", value);
        strip_crlf_tree(&tree.head);
        EXPECT_STREQ(fval(&tree.head, "a_b"), want);
        EXPECT_EQ(ffind(&tree.head, "a_b")->vlen, static_cast<int>(std::string(want).size()));
    }
}

// What a call writes to a stream of memory.
template <typename writer> static std::string written(writer write)
{
    char *bytes = nullptr;
    std::size_t size = 0;
    std::FILE *stream = open_memstream(&bytes, &size);
    write(stream);
    std::fclose(stream);
    const std::string text(bytes, size);
    std::free(bytes);
    return text;
}

TEST(ExportFrags, WritesWhatHasAValue)
{
    owned_tree tree("permit-a=1  \npermit-a_b%5Fc=2\na_d_e=lost\nx=\nx_y=3\nn_o=lost\nz=u\0v\n"s);
    EXPECT_EQ(written([&](std::FILE *out) { EXPECT_EQ(export_frags(tree.head, out, 7), 0); }),
              "permit-a=1\npermit-a_b%5Fc=2\nx=\nx_y=3\nz=u\0v\n"s);
    EXPECT_EQ(written([](std::FILE *out) { EXPECT_EQ(export_frags(nullptr, out, 0), 0); }), "");
}

TEST(DumpFrags, ListsAndMasks)
{
    owned_tree tree("deny-a=1\t\xC3 ~\na_bc_d=2 \nz=\n");
    testing::internal::CaptureStdout();
    EXPECT_EQ(dump_frags(tree.head, 0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "(2)a[0002,5]=1## ~\n"
                                                      "  _bc[0000,0]<NONE>\n"
                                                      "     _d[0000,1]=2 \n"
                                                      "z[0000,0]=\n");
    EXPECT_STREQ(fval(&tree.head, "a"), "1## ~");
}
