#include "lib/frag/import.h"

#include <gtest/gtest.h>
#include <string>

#include "tests/frag/tree_text.h"

using namespace std::string_literals;

struct import_row {
    const char *label;
    std::string file;
    std::string want; // tree_text of the tree
};

// A file gives one tree, whatever the pieces in which it arrives.
static void expect_tree(std::string_view before, std::string_view file, int keep,
                        const std::string &want)
{
    for (const std::size_t size : {0UL, 1UL, 2UL, 3UL, 7UL}) {
        owned_tree tree(before);
        tree.import(file, keep, size);
        EXPECT_EQ(tree_text(tree.head), want) << "pieces of " << size;
    }
}

template <std::size_t COUNT> static void expect_rows(const import_row (&rows)[COUNT])
{
    for (const import_row &row : rows) {
        SCOPED_TRACE(row.label);
        expect_tree("", row.file, 0, row.want);
    }
}

static std::string repeated(std::size_t count, char c)
{
    return std::string(count, c);
}

TEST(ImportFlat, LinesAndValues)
{
    static const import_row rows[] = {
        {"empty file", "", ""},
        {"file order", "b=1\na=2\nc_y=3\nc_x=4\n", R"(b="1" a="2" c{y="3" x="4"})"},
        {"last line wins", "a=long\nb=1\na=x\n", R"(a="x" b="1")"},
        {"a node with value and children", "a_b=1\na=2\n", R"(a="2"{b="1"})"},
        {"equals sign in the value", "a=b=c\n", R"(a="b=c")"},
        {"empty value", "a=\n", R"(a="")"},
        {"empty value leaves an earlier one", "a=1\na=\n", R"(a="1")"},
        {"only the counted end is trimmed", "a= 1 \t\n", "a=\" 1 \t\"/2"},
        {"nothing but blanks", "a=  \n", R"(a="  "/0)"},
        {"CR LF", "a=1\r\nb=2 \r\n", R"(a="1" b="2 "/1)"},
        {"CR inside a value", "a=\rx\r\ry\n", R"(a="xy")"},
        {"NUL in a value", "a=x\0y\n"s, R"(a="x~y"/3)"},
        {"blank lines and indent", "\r\n \t a=1\n\n\n\tb=2\n", R"(a="1" b="2")"},
        {"a line without equals sign runs on", "ab\ncd=1\n", "ab\ncd=\"1\""},
        {"CR in a key", "a\rb=1\n", "a\rb=\"1\""},
        {"NUL ends a key", "a\0b=1\n"s, R"(a="b=1")"},
        {"white space behind a separator", "a_\r\n \tb=1\n", R"(a{b="1"})"},
        {"empty parts", "a__b=1\n_=2\n=3\n", R"(a{{b="1"}} ="3"{="2"})"},
        {"escapes stay", "all%5Fx_%25=1\n", R"(all%5Fx{%25="1"})"},
        {"bytes above 127", "\xC3\xA4_\xFF=1\n", "\xC3\xA4{\xFF=\"1\"}"},
    };
    expect_rows(rows);
}

TEST(ImportFlat, AccessPrefixes)
{
    static const import_row rows[] = {
        {"two lines add up", "permit-a=1\ndeny-a=2\na=3\n", R"(a(3)="3")"},
        {"any case, order and number", "DENY-oNLYON-absorb-Permit-permit-a=1\n", R"(a(15)="1")"},
        {"on every part", "permit-a_deny-b=1\n", R"(a(1){b(2)="1"})"},
        {"a prefix alone", "permit-=1\n", R"((1)="1")"},
        {"words that are no prefix", "permit-relay=1\ndeny-spam_permit-route-char=2\n",
         R"(relay-permit="1" spam-deny{route-char-permit="2"})"},
        {"those words count exactly", "Permit-relay=1\ndeny-permit-relay=2\n", R"(relay(3)="2")"},
        {"a prefix at a later place", "a-permit-b=1\n", R"(a-permit-b="1")"},
    };
    expect_rows(rows);
}

TEST(ImportFlat, NamesAtTheirLimit)
{
    const std::string n126 = repeated(126, 'n');
    const std::string n127 = repeated(127, 'n');
    const import_row rows[] = {
        {"126 bytes", n126 + "=1\n", n126 + R"(="1")"},
        {"127 bytes", n127 + "=1\n", n127 + R"(="1")"},
        {"127 bytes and a child", n127 + "_b=1\n", n127 + R"({b="1"})"},
        {"the 128th is lost", n127 + "x=1\n", n127 + R"(="=1")"},
        {"a separator behind it is value", "a_" + n127 + "x_b=1\n", "a{" + n127 + R"(="_b=1"})"},
        {"twice as long", n127 + "x" + n127 + "=1\n", n127 + "=\"" + n127 + "=1\""},
        {"the prefix counts", "permit-" + n127 + "=1\n",
         repeated(120, 'n') + "(1)=\"" + repeated(6, 'n') + "=1\""},
        {"126 bytes at the end of the file", n126, ""},
        {"127 bytes at the end of the file", n127, ""},
        {"128 bytes at the end of the file", n127 + "x", n127},
    };
    expect_rows(rows);
}

TEST(ImportSection, Cases)
{
    static const import_row rows[] = {
        {"parts", "[a\\b]\nc=1\nd=2\n", R"(a{b{c="1" d="2"}})"},
        {"underscores", "[a_b]\nc=1\n", R"(a{b{c="1"}})"},
        {"the next one starts at the top", "[a]\nb=1\n[c]\nd=2\n", R"(a{b="1"} c{d="2"})"},
        {"key on the line of the header", "[a]b=1\n", R"(a{b="1"})"},
        {"white space around", " [ \r\n\ta]\r\n\n \tb=1\r\n", R"(a{b="1"})"},
        {"two brackets", "[[a]\nb=1\n[\n[c]", R"(a{b="1"} c)"},
        {"no name", "[]\nb=1\n", R"({b="1"})"},
        {"a key of two parts moves down", "[a]\nb_c=1\nd=2\n", R"(a{b{c="1" d="2"}})"},
        {"every separator in a key", "[a]\nb]c\\d=1\n", R"(a{b{c{d="1"}}})"},
        {"header over two lines", "[a\\\nb]\nc=1\n", R"(a{b{c="1"}})"},
        {"equals sign in a header", "[a=b]\nc=1\n", R"(a="b]" c="1")"},
        {"trailing blanks count", "[a]\nb=1 \t\r\n", "a{b=\"1 \t\"}"},
        {"a value goes on", "[a]\nb=1 \\ignored\n \t2\\\r\n3\nc=4\n", R"(a{b="1 23" c="4"})"},
        {"a NUL ends the ignored rest", "[a]\nb=1\\x\0 2\n"s, R"(a{b="12"})"},
        {"a line without equals sign runs on", "[a]\nb\nc=1\n", "a{b\nc=\"1\"}"},
        {"NUL ends a key", "[a]\nb\0c\n"s, R"(a{b="c"})"},
        {"no prefixes", "[permit-relay]\ndeny-a=1\n", R"(permit-relay{deny-a="1"})"},
        {"no way back", "[a]\n<b>=1\n<c/>\n=2\n", "a{<b>=\"1\" <c/>\n=\"2\"}"},
        {"nodes of flat lines are found", "a_b=1\nx=2\n[a]\nb=3\nc=4\n", R"(a{b="3" c="4"} x="2")"},
        {"behind a separator", "x_[a]\nb=1\n", R"(x a{b="1"})"},
        {"empty value", "[a]\nb=1\nb=\nc=\n", R"(a{b="1" c=""})"},
    };
    expect_rows(rows);
    const std::string n127 = repeated(127, 'n');
    const import_row limits[] = {
        {"127 bytes", "[" + n127 + "]\n" + n127 + "=1\n", n127 + "{" + n127 + "=\"1\"}"},
        {"a longer part is cut", "[" + n127 + "xy]\nb=1\n", n127 + R"({b="1"})"},
    };
    expect_rows(limits);
}

TEST(ImportTags, ElementsAndText)
{
    static const import_row rows[] = {
        {"text", "<a> \r\n x \n y \n</a>", "a=\"x \n y \n\""},
        {"equal names stay apart", "<a><b>1</b><b>2</b></a>", R"(a{b="1" b="2"})"},
        {"flat lines do not", "<a/>\na=1\n", R"(a="1")"},
        {"text goes on behind a child", "<a>x<b>1</b> y</a>", R"(a="xy"{b="1"})"},
        {"nothing inside", "<a></a><b> </b>", R"(a="" b="")"},
        {"empty element", "<a/><b/>", "a b"},
        {"an empty element inside", "<r><a/><b>1</b></r><c>2</c>", R"(r{a b="1"} c="2")"},
        {"the enclosing one closes", "<r><a/></r><c><d/><d/></c>", "r{a} c{d d}"},
        {"flat line behind an element", "<a>1</a><b/>\nc_d=2\n", R"(a="1" b c{d="2"})"},
        {"section behind an element", "<a/> [c]\nd=2\n", R"(a c{d="2"})"},
        {"element behind a flat line", "a=1\n<b>2</b>", R"(a="1" b="2")"},
        {"element below a flat part", "a_<b>x</b>y", R"(a="y"{b="x"})"},
        {"underscore in the name", "<a_b>1</a_b><a%5Fb>2</a_b><c%d>3</c%d>",
         R"(a%5Fb="1" a%5Fb="2" c%d="3")"},
        {"line break in the name", "<a\nb>1</a\nb>", "a\nb=\"1\""},
        {"no name", "<>1</>", R"(="1")"},
        {"no prefixes", "<permit-relay>1</permit-relay>", R"(permit-relay="1")"},
        {"a foreign end tag", "</b><a>1</b>2</a >", R"(a="12")"},
        {"text behind the outermost end tag", "<a>1</a>junk<b>2</b>", R"(a="1" b="2")"},
    };
    expect_rows(rows);
}

TEST(ImportTags, Attributes)
{
    static const import_row rows[] = {
        {"both quotes", "<a b=\"c'\" d='e\">'>x</a>", R"(a="x"{attrs{b="c'" d="e">"}})"},
        {"white space between", "<a \r\n b= \t\"1\"\n\tc=\n'2' >x</a>",
         R"(a="x"{attrs{b="1" c="2"}})"},
        {"white space before the equals sign is name", "<a b =\"1\">x</a>",
         R"(a="x"{attrs{b ="1"}})"},
        {"none between", "<a b=\"1\"c=\"2\">x</a>", R"(a="x"{attrs{b="1" c="2"}})"},
        {"white space in a value", "<a b=\" x \r\n\"/>", "a{attrs{b=\" x \r\n\"}}"},
        {"empty value", "<a b=\"\" c=''/>", R"(a{attrs{b="" c=""}})"},
        {"no value", "<a b=>x</a>", R"(a="x"{attrs{b}})"},
        {"the same twice", "<a b=\"1\" b=\"2\"/>", R"(a{attrs{b="2"}})"},
        {"names are not escaped", "<a b_c=\"1\" b_c=\"2\"/>", R"(a{attrs{b_c="1" b_c="2"}})"},
        {"none at all", "<a >x</a><b />", R"(a="x"{attrs} b{attrs})"},
        {"empty elements", "<r><a b='1'/><c d='2' /></r><e>3</e>",
         R"(r{a{attrs{b="1"}} c{attrs{d="2"}}} e="3")"},
        {"slash in the name", "<a/ b=\"1\">x</a>", R"(a="x"{attrs{b="1"}})"},
        {"children come behind", "<a b='1'><c>2</c></a>", R"(a{attrs{b="1"} c="2"})"},
        {"header", "<?xml version=\"1.0\"?>\n<a>1</a>", R"(?xml{attrs{version="1.0"} a="1"})"},
    };
    expect_rows(rows);
}

TEST(ImportTags, NamesAtTheirLimit)
{
    const std::string t61 = repeated(61, 't');
    const std::string t62 = repeated(62, 't');
    const std::string t63 = repeated(63, 't');
    const import_row rows[] = {
        {"62 bytes", "<" + t62 + ">x</" + t62 + ">y", t62 + R"(="x")"},
        {"62 bytes and a slash", "<" + t62 + "/><b/>", t62 + " b"},
        // The slash counts, so that this end tag is cut and names another element.
        {"63 bytes", "<" + t63 + ">x</" + t63 + ">y", t63 + R"(="x>y")"},
        {"63 bytes, empty element", "<" + t63 + "/='1'>x", t63 + R"(="x"{attrs{/="1"}})"},
        {"64 bytes: the rest is an attribute", "<" + t63 + "c='1'>x",
         t63 + R"(="x"{attrs{c="1"}})"},
        {"underscores count once", "<" + t61 + "_>x</" + t61 + "_>", t61 + R"(%5F="x")"},
        {"63 bytes at the end of the file", "<" + t63, ""},
        {"64 bytes at the end of the file", "<" + t63 + "c", t63 + "{attrs}"},
        {"attribute of 63 bytes", "<a " + t63 + "='1'/>", "a{attrs{" + t63 + R"(="1"}})"},
    };
    expect_rows(rows);
}

TEST(ImportTags, CommentsAndDeclarations)
{
    static const import_row rows[] = {
        {"comment", "<!-- <x>1</x> -->\n<a>1</a>", R"(a="1")"},
        {"flat line behind a comment", "<!-- x -->\na=1\n", R"(a="1")"},
        {"many dashes", "<!-- a -- b - > --->\na=1\n", R"(a="1")"},
        {"comment inside an element", "<a>x <!-- c --> y</a><b>2</b>", R"(a="x y" b="2")"},
        {"no blank: a later end ends it", "<!--x--><a>1</a>--><b>2</b>", R"(b="2")"},
        // The node of the line is still being filled.
        {"comment behind a flat line", "a=1 \n<!-- c -->x\n<b>2</b>", "a=\"1x\n\"{b=\"2\"}"},
        {"declaration", "<!DOCTYPE a b>\nc=1\n<!x><!y><d>2</d>", R"(c="1" d="2")"},
        {"declaration inside an element", "<a><!X><b>1</b></a><c>2</c>", R"(a{b="1"} c="2")"},
        {"flat line inside an element", "<a><!x>b=1\n", R"(a{b="1"})"},
    };
    expect_rows(rows);
}

TEST(Import, FilesThatEndAnywhere)
{
    static const import_row rows[] = {
        {"white space", " \r\n\t", ""},
        {"flat name", "ab", ""},
        {"flat separator", "a_", "a"},
        {"flat equals sign", "a=", "a"},
        {"flat value, untrimmed", "a=1 ", R"(a="1 ")"},
        {"flat CR", "a=1\r", R"(a="1")"},
        {"bracket", "[", ""},
        {"section name", "[a", ""},
        {"section", "[a]", "a"},
        {"section key", "[a]\nb", "a"},
        {"section equals sign", "[a]\nb=", "a{b}"},
        {"section value", "[a]\nb=1 ", R"(a{b="1 "})"},
        {"ignored rest", "[a]\nb=1\\x", R"(a{b="1"})"},
        {"indent", "[a]\nb=1\\x\n ", R"(a{b="1"})"},
        {"angle", "<", ""},
        {"tag name", "<a", ""},
        {"slash", "<a/", ""},
        {"tag name and a blank", "<a ", "a{attrs}"},
        {"attribute name", "<a b", "a{attrs}"},
        {"attribute equals sign", "<a b=", "a{attrs{b}}"},
        {"quote", "<a b='", "a{attrs{b}}"},
        {"attribute value", "<a b='1 ", R"(a{attrs{b="1 "}})"},
        {"both quotes", "<a b=''", R"(a{attrs{b=""}})"},
        {"slash behind attributes", "<a b='1'/", R"(a{attrs{b="1"}})"},
        {"start tag", "<a>", "a"},
        {"text", "<a>1 ", R"(a="1 ")"},
        {"angle in text", "<a>1<", R"(a="1")"},
        {"end tag", "<a></a", "a"},
        {"comment", "<a>1<!-- x --", R"(a="1")"},
        {"declaration", "<!a", ""},
    };
    expect_rows(rows);
}

TEST(Import, IntoATreeThatIsThere)
{
    static const struct {
        const char *label;
        std::string_view before, file;
        int keep;
        const char *want;
    } rows[] = {
        {"old lists turn, new nodes go behind", "a=1\nb=2\nc_x=1\nc_y=2\n", "d=3\nc_z=3\n", 0,
         R"(c{y="2" x="1" z="3"} b="2" a="1" d="3")"},
        {"even without a new one", "a=1\nb_x=2\nb_y=3\n", "", 0, R"(b{y="3" x="2"} a="1")"},
        {"values are replaced", "a=long\n", "a=x\n", 0, R"(a="x")"},
        {"prefixes add up", "permit-a=1\n", "deny-a=2\n", 0, R"(a(3)="2")"},
        {"kept", "a=1\nb=2\n", "a=8\nc=3\na=9\nb=", 1, R"(b="2" a="1" c="3")"},
        {"kept, but prefixes add up", "permit-a=1\n", "deny-a=2\n", 1, R"(a(3)="1")"},
        {"no value becomes an empty one", "b_c=1\n", "b=2\n", 1, R"(b=""{c="1"})"},
        {"not at the end of the file", "b_c=1\n", "b=2", 1, R"(b{c="1"})"},
        {"a new last part gets its value", "b_c=1\n", "b_d=2\nb_c=3\n", 1, R"(b{c="1" d="2"})"},
        {"section", "s_a=1\n", "[s]\na=2\nb=3\na=4\n", 1, R"(s{a="1" b="3"})"},
        {"elements are new", "s_a=1\n", "<s><a>2</a></s>", 1, R"(s{a="1"} s{a="2"})"},
        // The end of a start tag lifts the protection until the next value ends.
        {"flat line behind an element", "a=1\nb=2\n", "<x/>a=8\nb=9\n", 1, R"(b="2" a="8" x)"},
        {"nor does an attribute's value", "a=1\n", "<x y='2'/>a=8\n", 1,
         R"(a="8" x{attrs{y="2"}})"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        expect_tree(row.before, row.file, row.keep, row.want);
    }
}

// Flat lines p_1 to p_COUNT.
static std::string numbered_lines(int count)
{
    std::string lines;
    for (int number = 1; number <= count; ++number)
        lines += "p_" + std::to_string(number) + "=\n";
    return lines;
}

// The seventeenth flat child brings the trie, which does not learn of children that come in
// another notation: those are not found again.
TEST(Import, ChildrenThatTheTrieDoesNotKnow)
{
    static const struct {
        const char *label, *lines;
        int first_count; // nodes named x below p with sixteen children, and with seventeen
        int second_count;
    } rows[] = {
        {"flat lines", "p_x=1\np_x=2\n", 1, 1},
        {"element and flat line", "p_<x>1</x><!d>x=2\n", 1, 2},
        {"the flat one is found from then on", "p_<x>1</x><!d>x=2\np_x=3\np_x=4\n", 1, 2},
        {"section", "[p]\nx=1\nx=2\nx=3\n", 1, 3},
        {"flat line and section", "p_x=1\n[p]\nx=2\n", 1, 1},
        {"the child before the trie", "p_<x>1</x><!d>16=\np_18=\np_x=2\n", 1, 2},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.label);
        for (const int children : {16, 17}) {
            SCOPED_TRACE(children);
            for (const std::size_t size : {0UL, 1UL, 5UL}) {
                owned_tree tree;
                tree.import(numbered_lines(children) + row.lines, 0, size);
                int count = 0;
                for (const frag *node = tree.head->child; node != nullptr; node = node->next)
                    count += node->name == std::string_view("x") ? 1 : 0;
                EXPECT_EQ(count, children == 16 ? row.first_count : row.second_count);
            }
        }
    }
}

TEST(Import, OrderAndValuesOfManyChildren)
{
    owned_tree tree(numbered_lines(40) + "p_20=x\np_41=y\n");
    std::string want = "p{";
    for (int number = 1; number <= 41; ++number)
        want += (number == 1 ? "" : " ") + std::to_string(number) +
                (number == 20   ? R"(="x")"
                 : number == 41 ? R"(="y")"
                                : R"(="")");
    EXPECT_EQ(tree_text(tree.head), want + "}");
}

TEST(IsWhite, Bytes)
{
    for (int byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        EXPECT_EQ(is_ws(c), c == ' ' || c == '\t') << byte;
        EXPECT_EQ(is_wscrlf(c), c == ' ' || c == '\t' || c == '\r' || c == '\n') << byte;
    }
}
