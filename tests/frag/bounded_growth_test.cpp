// Passes whose work or memory is a product of two numbers in the file stop at a bound, leave the
// rest as it is, and say so once.
#include <functional>
#include <string>

#include <gtest/gtest.h>

#include "lib/frag/canon.h"
#include "lib/frag/frag_list.h"
#include "lib/frag/norm_interfaces.h"
#include "lib/frag/upgrade.h"
#include "tests/frag/flat_tree.h"
#include "tests/ulib/fake_log.h"

static std::string lines_for(int count, const std::function<std::string(const std::string &)> &line)
{
    std::string text;
    for (int number = 1; number <= count; ++number)
        text += line(std::to_string(number)) + "\n";
    return text;
}

static std::int64_t children_of(flat_tree &tree, const char *key)
{
    const frag *node = ffind(&tree.head, key);
    return node == nullptr ? -1 : count_list(node->child);
}

// `sets` config sets, and below the relay settings of this many bytes each.
static std::string plug_relay(int sets, int settings, std::size_t size)
{
    const std::string relay = "def_proxy_plug-relay_";
    return lines_for(
               settings,
               [&](const auto &n) { return relay + "parm" + n + "=" + std::string(size, 'x'); }) +
           lines_for(sets,
                     [&](const auto &n) { return relay + "config-sets_s" + n + "_port=" + n; });
}

TEST(BoundedGrowth, CopiesOfThePlugRelaysSettings)
{
    constexpr int SETS = 5000;
    static const struct {
        const char *label;
        int settings;
        std::size_t size;
        int fewest_split, most_split; // 256 MB over the bytes of one copy
    } cases[] = {
        {"no settings", 0, 0, SETS, SETS},
        {"a usual relay", 20, 40, SETS, SETS},
        {"one long setting", 1, 1 << 17, 2040, 2048},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const fake_log log;
        flat_tree tree(plug_relay(SETS, row.settings, row.size));
        EXPECT_EQ(up41(&tree.head), 0);
        expect_sound(&tree.head);
        const std::int64_t left = children_of(tree, "def_proxy_plug-relay_config-sets");
        const std::int64_t split =
            children_of(tree, "def_proxy") - (left == -1 ? 0 : 1); // the relay itself
        EXPECT_GE(split, row.fewest_split);
        EXPECT_LE(split, row.most_split);
        if (split == SETS) {
            EXPECT_EQ(log.calls, 0);
            EXPECT_EQ(left, -1);
            continue;
        }
        EXPECT_EQ(left, SETS - split);
        EXPECT_EQ(log.calls, 1);
        EXPECT_EQ(log.text, "plug-relay: too many config-sets for its settings, " +
                                std::to_string(left) + " left as they are");
        // The first of those left: as it was, beside the settings.
        const frag *set = ffind(&tree.head, "def_proxy_plug-relay_config-sets")->child;
        EXPECT_EQ(set->name, "s" + std::to_string(split + 1));
        EXPECT_STREQ(set->child->value, std::to_string(split + 1).c_str());
        EXPECT_EQ(children_of(tree, "def_proxy_plug-relay"), 1 + row.settings);
    }
}

TEST(BoundedGrowth, AliasListsOfInterfacesAreFolded)
{
    constexpr int INTERFACES = 10000;
    static const struct {
        const char *label, *interface_end, *list_end;
        int fewest_folded;
        bool is_bounded;
    } cases[] = {
        {"a list each", "", "_INTERFACE", INTERFACES, false},
        // Each look-up ends at the '=', in one long list.
        {"a sign that ends a key", "=", "", 1000, true},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const fake_log log;
        flat_tree tree(lines_for(INTERFACES,
                                 [&](const auto &n) {
                                     return "netobj_list_Inside_element_" + n + "_interface=e" + n +
                                            row.interface_end;
                                 }) +
                       lines_for(INTERFACES, [&](const auto &n) {
                           return "netobj_list_e" + n + row.list_end + "_element_1_addr=" + n;
                       }));
        canon_if(&tree.head, "netobj_list_Inside");
        expect_sound(&tree.head);
        const std::int64_t folded = children_of(tree, "netobj_list_Inside_element") - INTERFACES;
        EXPECT_GE(folded, row.fewest_folded);
        EXPECT_EQ(folded < INTERFACES, row.is_bounded);
        EXPECT_EQ(log.calls, row.is_bounded ? 1 : 0);
        if (row.is_bounded) {
            EXPECT_EQ(log.text, "interface e" + std::to_string(folded + 1) +
                                    "=: too many aliases, the rest left as they are");
            EXPECT_EQ(children_of(tree, "netobj_list"), 1 + INTERFACES - folded);
        }
    }
}

TEST(BoundedGrowth, AliasesMoveToTheListsOfTheirInterfaces)
{
    constexpr int ALIASES = 1500;
    static const struct {
        const char *label, *interface, *interface_end;
        int fewest_moved;
        bool is_bounded;
    } cases[] = {
        {"a list each", "e", "", ALIASES, false},
        // Each moves into the next entry, with all that moved before.
        {"a sign that ends a key", "Inside_element_", "=", 800, true},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const fake_log log;
        flat_tree tree(lines_for(ALIASES, [&](const auto &n) {
            const std::string entry = "netobj_list_Inside_element_" + n;
            return entry + "_alias=yes\n" + entry + "_interface=" + row.interface +
                   std::to_string(std::stoi(n) + 1) + row.interface_end;
        }));
        norm_if(&tree.head, "netobj_list_Inside");
        expect_sound(&tree.head);
        // In the second row the last entry leads to one that was not there.
        const std::int64_t moved =
            ALIASES + (row.is_bounded ? 1 : 0) - children_of(tree, "netobj_list_Inside_element");
        EXPECT_GE(moved, row.fewest_moved);
        EXPECT_EQ(moved < ALIASES, row.is_bounded);
        EXPECT_EQ(log.calls, row.is_bounded ? 1 : 0);
        if (row.is_bounded) {
            EXPECT_EQ(log.text, "interface Inside_element_" + std::to_string(moved + 2) +
                                    "=: too many aliases inside of aliases, the rest left as "
                                    "they are");
            EXPECT_STREQ(fval(&tree.head, "netobj_list_Inside_element_2_alias"), "yes");
        }
    }
}
