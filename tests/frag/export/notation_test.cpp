#include "lib/frag/export/export.h"
#include "lib/frag/export/notation_write.h"
#include "tests/frag/tree_text.h"
#include "tests/fuzz/memory_file.h"

#include <functional>
#include <gtest/gtest.h>
#include <string>

using namespace flatlink;

namespace
{

std::string written(notation form, frag *first)
{
    memory_file file;
    const int result = form == notation::SECTIONS ? outsectionfile(file.stream, first)
                       : form == notation::TAGS   ? outtagfile(file.stream, first)
                                                  : outffile(file.stream, first, 0, 0);
    EXPECT_EQ(result, 0);
    std::fclose(file.stream);
    return {file.bytes, file.size};
}

std::size_t count_nodes(frag *head)
{
    std::size_t count = 0;
    for (const auto &[list, parent] : lists_of(&head))
        for (const frag *node = *list; node != nullptr; node = node->next)
            ++count;
    return count;
}

constexpr notation notations[] = {notation::FLAT, notation::SECTIONS, notation::TAGS};

} // namespace

TEST(NotationWrite, Layout)
{
    built_tree tree("a=1 b{c=2 d=3{e=4 f g=} h%5Fi_j=5} k=6");
    EXPECT_EQ(written(notation::SECTIONS, tree.head),
              "[a=1\n\n[b]\nc=2\nd=3\n\n[b\\d]\ne=4\n\n[b\\d\\f]\n\n[b\\d]\ng=\n\n"
              "[b\\h%5Fi]\nj=5\n\n[k=6\n");
    EXPECT_EQ(written(notation::TAGS, tree.head),
              "<a>1</a>\n<b>\n  <c>2</c>\n  <d>3<e>4</e>\n    <f/>\n    <g></g>\n  </d>\n"
              "  <h_i>\n    <j>5</j>\n  </h_i>\n</b>\n<k>6</k>\n");
}

// Each tree is held by the notations of its row, and read back as another by the others.
TEST(NotationWrite, ReadsBackTheSame)
{
    static const struct {
        const char *tree;
        bool flat, sections, tags;
    } cases[] = {
        {"a=1 b{c=2 d=3{e=4} f=5} g=6", true, true, true},
        {"a{b=1 c_d_e=2 f=3} g_b=4 h{b= c=1}", true, true, true},
        {"a%5Fb=1 c%25d_%3D=2 1=x 10{2=x 1=y}", true, true, true},
        {"a='x = y [z] _ %5F'", true, true, true},
        {"a='ends with blanks \t '", true, true, true},
        {"a=\xff\x01{b=\xe4}", true, true, true},
        {"a=' begins with one'", true, true, false},
        {"a='less < than'", true, true, false},
        {"a={b=1}", true, true, false}, // an empty value above a child
        {"a='back\\\\slash'", true, false, true},
        {"a='two\nlines'", false, false, true},
        {"a='cr\r'", false, false, true},
        {"a_b{c=1} a_b{c=2}", false, false, true}, // siblings of one name
        {"a_b c_d=1", false, true, true},          // a node with nothing
        {"a(2)=1 b(1)_c(8)=2", true, false, false},
        {"a(3)=1", false, false, false}, // one prefix at most is written
        {"relay-permit=1", true, true, true},
        {"permit-a=1", false, true, true}, // a name that looks like a prefix
        {"a\\_b=1", false, false, false},  // no escape in the stored name
        {"a]b=1", true, false, true},
        {"a>b=1", true, true, false},
        {"[a=1", false, false, true},
        {"a/_b=1", true, true, false},
        {"!a=1", true, true, false},
    };
    for (const auto &row : cases) {
        for (const notation form : notations) {
            built_tree tree(row.tree);
            count_whole_values(tree.head);
            const std::string text = written(form, tree.head);
            SCOPED_TRACE(std::string(row.tree) + "\n" + text);
            const bool is_held = form == notation::FLAT       ? row.flat
                                 : form == notation::SECTIONS ? row.sections
                                                              : row.tags;
            owned_tree again(text);
            count_whole_values(again.head); // as a flat line counts less
            EXPECT_EQ(tree_text(again.head) == tree_text(tree.head), is_held)
                << tree_text(again.head);
        }
    }
}

// What does not fit is brought to a form that reads back as it was written, and injects nothing.
TEST(NotationWrite, FittedCopies)
{
    const std::string longest(200, 'n');
    for (const std::string &text :
         {std::string("a='x\ny=\\\\<b>\r'{_c]d=1} [e=' <'"), longest + "=1", std::string("/a!=1"),
          std::string("a\\_b=1 \\ c='  d'"), std::string("a=>{b>c=1}")}) {
        for (const notation form : notations) {
            built_tree tree(text);
            frag *fitted = copy_fit_for(form, tree.head);
            SCOPED_TRACE(tree_text(fitted));
            owned_tree again(written(form, fitted));
            EXPECT_EQ(count_nodes(again.head), count_nodes(tree.head));
            EXPECT_EQ(tree_text(again.head), tree_text(fitted));
            free_fraglist(&fitted);
        }
    }
}

// Neither the depth of a tree nor the length of a path is an affair of the stack.
TEST(NotationWrite, DeepTrees)
{
    constexpr std::size_t DEPTH = 100'000;
    std::string text;
    for (std::size_t i = 0; i < DEPTH; ++i)
        text += "<a>";
    owned_tree tree(text + "x");
    for (const notation form : {notation::SECTIONS, notation::TAGS}) {
        owned_tree again(written(form, tree.head));
        EXPECT_EQ(count_nodes(again.head), DEPTH);
        frag *fitted = copy_fit_for(form, tree.head);
        free_fraglist(&fitted);
    }
}
