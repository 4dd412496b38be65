#include "lib/frag/import/import.h"

#include "lib/frag/tree/symbol.h"
#include "lib/ulib/descriptor.h"
#include "tests/frag/tree_text.h"
#include "tests/fuzz/path_file.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>

using namespace flatlink;

using namespace std::string_literals;

struct import_row {
    std::string file, want;
};

// A file gives one tree, whatever the pieces in which it arrives.
static void expect_trees(const std::vector<import_row> &rows, const std::string &before = "",
                         int keep = 0)
{
    for (const auto &[file, want] : rows) {
        for (const std::size_t size : {std::string_view::npos, 1UL, 2UL, 3UL, 7UL}) {
            owned_tree tree(before);
            tree.import(file, keep, size);
            EXPECT_EQ(tree_text(tree.head), want) << file << " in pieces of " << size;
        }
    }
}

static const std::string n127(127, 'n');

TEST(ImportFlat, Cases)
{
    expect_trees({
        // File order, the last line wins, an empty value leaves an earlier one.
        {"b=1\na=2\nc_y=3\nc_x=4\na_b=5\na=x\ne=b=c\nf=\nb=\n", "b=1 a=x{b=5} c{y=3 x=4} e=b=c f="},
        // Only the counted end is trimmed; CR does not count, NUL does.
        {"a= 1 \t\nb=  \nc=1\r\nd=2 \r\ne=\rx\r\ry\nf=x\0y\n"s,
         "a=' 1 \t'/2 b='  '/0 c=1 d='2 '/1 e=xy f='x~y'/3"},
        // Blank lines and indent; a line without '=' runs on.
        {"\r\n \t a=1\n\n\n\tb=2\nab\ncd=1\n", "a=1 b=2 ab\ncd=1"},
        {"a\rb=1\nc\0d=1\n"s, "a\rb=1 c=d=1"},
        {"a_\r\n \tb=1\nc__b=1\n_=2\n=3\n", "a_b=1 c__b=1 =3{=2}"},
        {"all%5Fx_%25=1\n\xC3\xA4_\xFF=1\n", "all%5Fx_%25=1 \xC3\xA4_\xFF=1"},
        // Access prefixes add up, in any case and order, on every part.
        {"permit-a=1\ndeny-a=2\na=3\nDENY-oNLYON-absorb-Permit-permit-b=1\npermit-c_deny-d=1\n"
         "permit-=1\na-permit-b=1\n",
         "a(3)=3 b(15)=1 c(1)_d(2)=1 (1)=1 a-permit-b=1"},
        // Words that only look so count exactly.
        {"permit-relay=1\ndeny-spam_permit-route-char=2\nPermit-relay=1\ndeny-permit-relay=2\n",
         "relay-permit=1 spam-deny_route-char-permit=2 relay(3)=2"},
        // A longer name loses a byte, and its rest is value; the prefix counts.
        {n127.substr(1) + "=1\n", n127.substr(1) + "=1"},
        {n127 + "=1\n", n127 + "=1"},
        {n127 + "_b=1\n", n127 + "_b=1"},
        {n127 + "x=1\n", n127 + "==1"},
        {"a_" + n127 + "x_b=1\n", "a_" + n127 + "=_b=1"},
        {n127 + "x" + n127 + "=1\n", n127 + "=" + n127 + "=1"},
        {"permit-" + n127 + "=1\n", std::string(120, 'n') + "(1)=nnnnnn=1"},
    });
}

TEST(ImportSection, Cases)
{
    expect_trees({
        // Each starts at the top; white space around, a key on the line, two brackets, no name.
        {"[a\\b]\nc=1\nd=2\n[a_e]\nf=1\n[g]h=1\n [ \r\n\ti]\r\n\n "
         "\tj=1\r\n[[k]\nl=1\n[]\nm=1\n[\n[n]",
         "a{b{c=1 d=2} e_f=1} g_h=1 i_j=1 k_l=1 _m=1 n"},
        // A key of several parts moves down, with every separator.
        {"[a]\nb_c=1\nd=2\n[b]\nc]d\\e=1\n", "a_b{c=1 d=2} b_c_d_e=1"},
        {"[a\\\nb]\nc=1\n", "a_b_c=1"},
        {"[a=b]\nc=1\n", "a=b] c=1"},
        // Trailing blanks count; a value goes on after a backslash, and NUL ends what is ignored.
        {"[a]\nb=1 \t\r\nc=1 \\ignored\n \t2\\\r\n3\nd=1\\x\0 2\ne=\n"s,
         "a{b='1 \t' c='1 23' d=12 e=}"},
        {"[a]\nb\nc=1\n[d]\ne\0f\n"s, "a_b\nc=1 d_e=f"},
        // No prefixes, and no way back to tags.
        {"[permit-relay]\ndeny-a=1\n<b>=1\n<c/>\n=2\n", "permit-relay{deny-a=1 <b>=1 <c/>\n=2}"},
        {"a_b=1\nx_[a]\nb=3\nc=4\nc=\n", "a{b=3 c=4} x"},
        {"[" + n127 + "xy]\n" + n127 + "=1\n", n127 + "_" + n127 + "=1"},
    });
}

TEST(ImportTags, Cases)
{
    const std::string t61(61, 't'), t63(63, 't');
    expect_trees({
        // Text goes on after a child; equal names stay apart; what is empty has a value.
        {"<a> \r\n x \n y \n</a><b>x<c>1</c> y</b><d><e>1</e><e>2</e></d><f></f><g> </g>",
         "a='x \n y \n' b=xy{c=1} d{e=1 e=2} f= g="},
        // Empty elements have none, and the enclosing one closes.
        {"<a/><r><b/><c>1</c></r><d><e/><e/></d><f>2</f>", "a r{b c=1} d{e e} f=2"},
        // From one notation to the next.
        {"<a/>\na=1\n<b>2</b><c/>\nd_e=2\n", "a=1 b=2 c d_e=2"},
        {"a_<b>x</b>y", "a=y{b=x}"},
        {"<a/> [c]\nd=2\n", "a c_d=2"},
        // Names: '_' is escaped, no prefixes, none at all.
        {"<a_b>1</a_b><a%5Fb>2</a_b><c%d>3</c%d><a\nb>1</a\nb><permit-x>1</permit-x><>1</>",
         "a%5Fb=1 a%5Fb=2 c%d=3 a\nb=1 permit-x=1 =1"},
        {"</b><a>1</b>2</a >", "a=12"},
        {"<a>1</a>junk<b>2</b>", "a=1 b=2"},
        // The slash of an end tag counts, so that a name of 63 bytes does not end its element.
        {"<" + t61 + "t>x</" + t61 + "t>y", t61 + "t=x"},
        {"<" + t61 + "t/><b/>", t61 + "t b"},
        {"<" + t63 + ">x</" + t63 + ">y", t63 + "=x>y"},
        {"<" + t63 + "/='1'>x", t63 + "=x{attrs_/=1}"},
        {"<" + t63 + "c='1'>x", t63 + "=x{attrs_c=1}"},
        {"<" + t61 + "_>x</" + t61 + "_>", t61 + "%5F=x"},
        {"<a " + t63 + "='1'/>", "a_attrs_" + t63 + "=1"},
    });
}

TEST(ImportTags, AttributesAndComments)
{
    expect_trees({
        // Both quotes, white space and none between, but that before the '=' is name.
        {"<a b=\"c}\" d='e>'>x</a><f \r\n g= \t\"1\"\n\th=\n'2'i =\"3\" >x</f>",
         "a=x{attrs{b='c}' d=e>}} f=x{attrs{g=1 h=2 i =3}}"},
        {"<a b=\" x \r\n\"/><c d=\"\" e=''/><f g=>x</f>",
         "a_attrs_b=' x \r\n' c_attrs{d= e=} f=x{attrs_g}"},
        // The second of a name counts, but names are not escaped for the look-up.
        {"<a b=\"1\" b=\"2\"/><c d_e=\"1\" d_e=\"2\"/>", "a_attrs_b=2 c_attrs{d\\_e=1 d\\_e=2}"},
        {"<a >x</a><b /><c/ d=\"1\">x</c>", "a=x{attrs} b_attrs c=x{attrs_d=1}"},
        {"<r><a b='1'/><c d='2' /></r><e b='1'><f>2</f></e>",
         "r{a_attrs_b=1 c_attrs_d=2} e{attrs_b=1 f=2}"},
        {"<?xml version=\"1.0\"?>\n<a>1</a>", "?xml{attrs_version=1.0 a=1}"},
        // Comments and declarations; without a blank a later end ends a comment.
        {"<!-- <x>1</x> -->\n<a>1</a><b>x <!-- a -- b - > ---> y</b><c>2</c>", "a=1 b='x y' c=2"},
        {"<!-- x -->\na=1\n", "a=1"},
        {"<!--x--><a>1</a>--><b>2</b>", "b=2"},
        {"a=1 \n<!-- c -->x\n<b>2</b>", "a='1x\n'{b=2}"},
        {"<!DOCTYPE a b>\nc=1\n<!x><!y><a><!X><b>1</b></a><d><!x>e=1\n", "c=1 a_b=1 d_e=1"},
    });
}

// Each tree to which a file leads that ends early, with the length from which on it does.
TEST(Import, FilesThatEndAnywhere)
{
    const std::vector<import_row> rows = {
        {" \nab_c=1 \r", "5:ab 7:ab_c 8:ab_c=1 9:ab_c='1 '"},
        {"[a]\nb=1 \\x\n 2", "3:a 6:a_b 7:a_b=1 8:a_b='1 ' 13:a_b='1 2'"},
        {"<a b='1 ' c=''/", "3:a_attrs 5:a_attrs_b 7:a_attrs_b=1 8:a_attrs_b='1 '"
                            " 12:a_attrs{b='1 ' c} 14:a_attrs{b='1 ' c=}"},
        {"<a>1 <!-- x -->2</a><!b", "3:a 4:a=1 5:a='1 ' 16:a='1 2'"},
        {n127 + "x", "128:" + n127},
        {"<" + n127.substr(63), "65:" + n127.substr(64) + "_attrs"},
    };
    for (const auto &[file, want] : rows) {
        std::string trees, last;
        for (std::size_t length = 0; length <= file.size(); ++length) {
            const std::string text = tree_text(owned_tree(file.substr(0, length)).head);
            if (text != last)
                trees += (trees.empty() ? "" : " ") + std::to_string(length) + ":" + text;
            last = text;
        }
        EXPECT_EQ(trees, want);
    }
}

TEST(Import, IntoATreeThatIsThere)
{
    const std::string before = "a=1\nb_x=2\nb_y=3\npermit-c=1\n";
    const std::string old = "c(1)=1 b{y=3 x=2} ";
    // Old lists are reversed, new nodes follow.
    expect_trees(
        {{"", old + "a=1"}, {"d=4\na=x\nb_z=5\ndeny-c=2\n", "c(3)=2 b{y=3 x=2 z=5} a=x d=4"}},
        before);
    // What is there is kept, but prefixes add up, and no value becomes an empty one at the line's
    // end. The end of a start tag lifts the protection until the next value ends.
    expect_trees({{"a=8\nd=3\na=9\nb=\ndeny-c=2\n", "c(3)=1 b={y=3 x=2} a=1 d=3"},
                  {"b=2", old + "a=1"},
                  {"[b]\nx=8\nz=4\nx=9\n", "c(1)=1 b{y=3 x=2 z=4} a=1"},
                  {"<b><x>8</x></b>", old + "a=1 b_x=8"},
                  {"<d/>a=8\nc=9\n", old + "a=8 d"},
                  {"<d e='2'/>a=8\n", old + "a=8 d_attrs_e=2"},
                  {"<d e='2'>x</d>", old + "a=1 d=x{attrs_e=2}"}},
                 before, 1);
}

// The seventeenth flat child brings a trie, which does not learn of children that come in another
// notation: those are not found again.
TEST(Import, ChildrenThatTheTrieDoesNotKnow)
{
    static const struct {
        std::string lines, want_16, want_17; // below sixteen children, and below seventeen
    } rows[] = {
        {"p_x=1\np_1=2\np_x=3\n", "x=3", "x=3"},
        {"p_<x>1</x><!d>x=2\np_x=3\np_x=4\n", "x=4", "x=1 x=4"},
        {"[p]\nx=1\nx=2\nx=3\n", "x=3", "x=1 x=2 x=3"},
        {"p_x=1\n[p]\nx=2\n", "x=2", "x=2"},
        {"p_<x>1</x><!d>16=\np_18=\np_x=2\n", "x=2 18=", "x=1 18= x=2"},
    };
    for (const auto &row : rows) {
        for (const int children : {16, 17}) {
            std::string file, want = "p{";
            for (int number = 1; number <= children; ++number) {
                file += "p_" + std::to_string(number) + "=\n";
                want += std::to_string(number) + "= ";
            }
            want += (children == 16 ? row.want_16 : row.want_17) + "}";
            if (row.lines.find("p_1=2") != std::string::npos)
                want.replace(want.find("1="), 2, "1=2");
            expect_trees({{file + row.lines, want}});
        }
    }
}

TEST(ImportFile, BlocksThatEndAnywhere)
{
    // The tail has a byte of every state, and lies across the end of a block.
    const std::string tail = "\r\nlong name_of%5F=it  \r\n<t a_b = 'c' d=\"\"/>\n"
                             "<u>x<!-- - -- -->y</u><?v w='x'?>z</?v><!d>[p\\q]\nr=1\\ no\n 2\r\n";
    path_file file;
    for (std::size_t length = IMPORT_BLOCK_SIZE - tail.size() - 3; length <= IMPORT_BLOCK_SIZE;
         ++length) {
        const std::string value(length + (length % 2) * 40 * IMPORT_BLOCK_SIZE, 'v');
        file.set_text("k=" + value + tail);
        owned_tree tree;
        ASSERT_EQ(importffile(file.path().c_str(), &tree.head, 0), 0);
        ASSERT_EQ(tree_text(tree.head), "k=" + value +
                                            " long name_of%5F='it  '/2 t_attrs{a\\_b =c d=}"
                                            " u=xy ?v=z{attrs_w=x} p_q_r=12");
    }
}

TEST(ImportFile, CannotBeOpenedOrRead)
{
    owned_tree tree("a=1\nb=2\n");
    errno = 0;
    EXPECT_EQ(importffile((testing::TempDir() + "no/such/file").c_str(), &tree.head, 0), 1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(tree_text(tree.head), "a=1 b=2");
    const descriptor folder(open(testing::TempDir().c_str(), O_RDONLY));
    EXPECT_EQ(import_open_file(folder.get(), &tree.head, 0), EISDIR);
    EXPECT_EQ(tree_text(tree.head), "b=2 a=1");
}

TEST(ImportEnv, FoldsTheStarProxy)
{
    path_file file;
    for (const auto &[text, want] : std::vector<import_row>{
             {"def_proxy_global_a=1\n", "def_proxy_global_a=1"},
             {"def_proxy_*_a=1\ndef_proxy_*_b=2\nx=\n", "def_proxy_global{b=2 a=1} x="},
             // What lies below is lost, and no value counts.
             {"def_proxy_global_a=1\ndef_proxy_global_a_c=3\ndef_proxy_*_a=2\n"
              "def_proxy_global_b=1\ndef_proxy_*_b_c=2\n",
              "def_proxy_global{a=2{c=3} b}"},
             {"def_proxy_*=1\ndef_proxy_p_a=2\n", "def_proxy_p_a=2"}}) {
        cur_database = nullptr; // so that the default tree becomes the current one
        file.set_text(text);
        EXPECT_EQ(importenv(file.path().c_str()), 0);
        EXPECT_EQ(tree_text(def_database), want);
        free_fraglist(&def_database);
    }
    owned_tree other("a=1\ndef_proxy_*_a=3\n");
    cur_database = &other.head;
    const std::string nowhere = testing::TempDir() + "no/such/file";
    EXPECT_EQ(importenv(nowhere.c_str()), 1);
    file.set_text("a=2\n");
    EXPECT_EQ(importinitialenv(file.path().c_str()), 0); // keeps what is there
    EXPECT_EQ(importinitialenv(nowhere.c_str()), 1);
    EXPECT_EQ(tree_text(other.head), "def_proxy_*_a=3 a=1");
    cur_database = nullptr;
}
