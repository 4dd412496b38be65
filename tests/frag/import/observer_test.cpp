// Where values come from, and what an import decides without a word.
#include "lib/frag/import/observer.h"

#include "lib/frag/import/import.h"
#include "lib/frag/layout/canon.h"
#include "lib/frag/layout/upgrade.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/origin.h"
#include "lib/frag/tree/tree_watch.h"
#include "tests/frag/tree_text.h"

#include <fstream>
#include <functional>
#include <gtest/gtest.h>

using namespace flatlink;

// Calls `visit` for each node of a list and below it, in order.
static void visit_all(frag *node, const std::function<void(frag *)> &visit)
{
    for (; node != nullptr; node = node->next) {
        visit(node);
        visit_all(node->child, visit);
    }
}

// "KEY:LINEn" for each node with an origin; n is the notation's letter.
static std::string origins_of(frag *head)
{
    std::string text;
    visit_all(head, [&text](const frag *node) {
        if (node->origin != 0)
            text += std::string(text.empty() ? "" : " ") + fragkeyname(node) + ":" +
                    std::to_string(origin_line(node)) +
                    " fst"[static_cast<int>(origin_notation(node))];
    });
    return text;
}

// What the observer is told, in short, while it lives.
struct observer_log {
    static inline std::string text;
    static void add(const std::string &what) { text += (text.empty() ? "" : " ") + what; }
    static std::string lines(std::int32_t a, std::int32_t b)
    {
        return std::to_string(a) + "," + std::to_string(b);
    }

    import_observer observer = {
        .value_replaced =
            [](void *, const frag *node, std::int32_t old_line, std::int32_t line) {
                add(node->name + (" " + lines(old_line, line)));
            },
        .value_kept =
            [](void *, const frag *node, std::int32_t line, std::int32_t ignored) {
                add(node->name + (" kept " + lines(line, ignored)));
            },
        .lines_joined = [](void *, std::int32_t first,
                           std::int32_t last) { add("joined " + lines(first, last)); },
        .name_cut =
            [](void *, std::int32_t line, std::string_view kept) {
                add("cut " + lines(line, static_cast<int>(kept.size())));
            },
        .ignored = [](void *, std::int32_t line) { add("ignored " + std::to_string(line)); },
        .unfinished = [](void *, std::int32_t line) { add("unfinished " + std::to_string(line)); },
    };

    observer_log()
    {
        text.clear();
        import_watch = &observer;
    }
    ~observer_log() { import_watch = nullptr; }
};

TEST(ImportObserver, LinesAndDecisions)
{
    const std::string n127(127, 'n'), t63(63, 't');
    static const struct {
        std::string file, origins, decisions;
        int keep = 0;
    } rows[] = {
        {"\n\na_b=1\n\r\n \ta_c=\nd=\r2\n", "a_b:3f a_c:5f d:6f", ""},
        {"a=1\nb=2\na=3\na=\nb=4", "a:3f b:5f", "a 1,3 a kept 3,4 b 2,5"},
        {"a=1\na=2\nb_\nc=1\n", "a:1f b_c:4f", "a kept 1,2 joined 3,4", 1},
        {"a\n\nb=1\nlost", "a\n\nb:3f", "joined 1,3 unfinished 4"},
        {n127 + "=1\n" + n127 + "xy=1\n", n127 + ":2f", "cut 2,127 " + n127 + " 1,2"},
        {"[a\\b]\nc=1 \\\n 2\nc=3\nd\ne=4\n[f\n", "a_b_c:4s a_b_d\ne:6s",
         "c 2,4 joined 5,6 unfinished 7"},
        {"[" + n127 + "xy]\nc=1\n", n127 + "_c:2s", "cut 1,127"},
        {"<a b='1'\n c='2'>\n\n x\n y<d/>\n<e>\n</e>z</a>\n</f>\n<!-- k", //
         "a:4t a_attrs_b:1t a_attrs_c:2t a_d:5t a_e:6t", "ignored 8 unfinished 9"},
        {"<a><b\nc>1</b\nc></a>x", "a:1t a_b\nc:2t", "joined 1,2 joined 2,3 ignored 3"},
        {"<" + t63 + "c='1'>x", t63 + ":1t " + t63 + "_attrs_c:1t", "cut 1,63"},
        {"<a>1\n<b>2</b>\n</a>\nc=1\n<c/>\nd=1\n", "a:1t a_b:2t c:5t d:6f", "ignored 4"},
    };
    for (const auto &row : rows) {
        for (const std::size_t size : {std::string_view::npos, 1UL, 3UL}) {
            const observer_log log;
            owned_tree tree;
            tree.import(row.file, row.keep, size);
            EXPECT_EQ(origins_of(tree.head), row.origins) << row.file << " in pieces of " << size;
            EXPECT_EQ(log.text, row.decisions) << row.file << " in pieces of " << size;
        }
    }
}

// Whatever a pass makes of a line, the node that names the line has its value or its name from it.
TEST(Origins, StayThroughTheLayouts)
{
    for (const std::string layout : {"numbered", "41", "current"}) {
        const std::string path = TEST_DATA_DIR "/layouts/" + layout + ".in";
        std::vector<std::string> lines{""};
        std::ifstream stream(path);
        for (std::string line; std::getline(stream, line);)
            lines.push_back(line);
        owned_tree tree;
        ASSERT_EQ(importffile(path.c_str(), &tree.head, 0), 0);
        if (layout == "numbered")
            norm_fragtree(&tree.head);
        if (layout != "current")
            up41(&tree.head);
        std::string made; // values that come from no line
        visit_all(tree.head, [&](const frag *node) {
            const std::string &line = lines.at(static_cast<std::size_t>(origin_line(node)));
            const std::string value = node->value != nullptr ? node->value : "";
            EXPECT_TRUE(line.empty() || line.find(fragname(node)) != std::string::npos ||
                        (!value.empty() && line.find(value) != std::string::npos))
                << fragkeyname(node) << "=" << value << " from " << line;
            if (node->value != nullptr && line.empty())
                made += node->name + std::string("=") + node->value + " ";
        });
        EXPECT_EQ(made, layout == "current"
                            ? ""
                            : "name=gui_client proxy-exec=./plug-relay proxy-type=plug-relay "
                              "proxy-exec=./ftp-proxy proxy-type=ftp-proxy bind-port=ftp ");
    }
}

TEST(Origins, LookUpsAreSeen)
{
    owned_tree tree("a_b=1\na_c=2\n");
    std::string found;
    const tree_observer watch{&found, [](void *text, const frag *node) {
                                  *static_cast<std::string *>(text) += node->name;
                              }};
    tree_watch = &watch;
    EXPECT_STREQ(fval(&tree.head, "a_c"), "2");
    EXPECT_EQ(fval(&tree.head, "a_d"), nullptr);
    tree_watch = nullptr;
    EXPECT_NE(ffind(&tree.head, "a_b"), nullptr);
    EXPECT_EQ(found, "c");
}
