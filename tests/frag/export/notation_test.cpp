#include "lib/frag/export/export.h"
#include "lib/frag/export/notation_write.h"
#include "tests/case_lines.h"
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
    for (case_row &row : case_rows("notations", "tree held")) {
        for (const auto &[form, name] : {std::pair(notation::FLAT, "flat"),
                                         {notation::SECTIONS, "sections"},
                                         {notation::TAGS, "tags"}}) {
            built_tree tree(bytes_of(row["tree"]));
            count_whole_values(tree.head);
            const std::string text = written(form, tree.head);
            SCOPED_TRACE(row["tree"] + "\n" + text);
            owned_tree again(text);
            count_whole_values(again.head); // as a flat line counts less
            EXPECT_EQ(tree_text(again.head) == tree_text(tree.head),
                      row["held"].find(name) != std::string::npos)
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
