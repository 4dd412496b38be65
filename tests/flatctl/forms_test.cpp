// What the forms hold of a tree, and what they are found to lose.
#include "flatctl/forms/forms.h"

#include "flatctl/input/kind.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/symbol.h"
#include "tests/case_lines.h"
#include "tests/fuzz/path_file.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace flatlink;

static void load(const std::string &text)
{
    path_file file;
    file.set_text(text);
    free_fraglist(&def_database);
    const int fd = open(file.path().c_str(), O_RDONLY);
    EXPECT_EQ(load_any_form(fd), 0);
    close(fd);
}

static std::string losses(const char *form_name, bool is_fitted, std::string *text_out = nullptr)
{
    const form_row &form = *find_form(form_name);
    const std::string text = text_in_form(form, is_fitted);
    if (text_out != nullptr)
        *text_out = text;
    std::string lost;
    for (const tree_difference &loss : compare_with_text(form, text, 100).differences)
        lost += loss.key + ": " + loss.what + "\n";
    return lost;
}

TEST(Forms, LossesAreNamed)
{
    for (case_row &row : case_rows("flatctl/losses", "from want")) {
        SCOPED_TRACE(row["case"] + ": " + row["from"]);
        load(bytes_of(row["from"]));
        EXPECT_EQ(losses(row["case"].c_str(), false), whole_lines(row["want"]));
    }
}

// What is written with losses accepted is stable: reading it and writing again gives the same.
TEST(Forms, FittedTextsAreStable)
{
    for (const char *database :
         {"ip=\nip_deny-a=<b\\c> \n", "<ip><a>1\nip_b=2</a>< ]=b>x</ ]=b></ip>"}) {
        for (const char *form : {"flat", "sections", "tags"}) {
            SCOPED_TRACE(std::string(form) + ": " + database);
            load(database);
            std::string first, second;
            (void)losses(form, true, &first);
            load(first);
            EXPECT_EQ(losses(form, false, &second), "");
            EXPECT_EQ(second, first);
        }
    }
}

// One byte of a text changed, and the comparison says so.
TEST(Forms, DamageIsSeen)
{
    const std::string database = "ip_hostname=gate\nrule_pffwd_1_src=a\nrule_pffwd_1_dst=b\n";
    for (const char *name : {"flat", "sections", "tags"}) {
        load(database);
        const form_row &form = *find_form(name);
        const std::string text = text_in_form(form, false);
        // What closes the last elements of a text, or stands before a tag, is no part of the tree.
        const std::size_t end = std::min(text.find("</dst"), text.size());
        for (std::size_t i = 0; i < end; ++i) {
            std::string damaged = text;
            damaged[i] = '~';
            const bool is_space = text[i] == ' ' || text[i + 1] == '<';
            EXPECT_TRUE(is_space || compare_with_text(form, damaged, 1).count != 0)
                << name << " " << damaged;
        }
    }
    free_fraglist(&def_database);
}

TEST(Kind, OfInputs)
{
    static const struct {
        const char *text;
        input_kind kind;
    } cases[] = {
        {"ip_hostname=a\n", input_kind::DATABASE},
        {"<rule/>", input_kind::DATABASE},
        {"[net\\ipaddr\\x]\naddr=1\n", input_kind::DATABASE},
        {"vpn_anonsecret=\nvpn_kernelacceleration=On\n", input_kind::FLAT_DATA},
        {"vlink_1_lname=x\n", input_kind::FLAT_DATA},
        {"vpn_ike_a_name=x\n", input_kind::DATABASE},
        {"root:x:0:0:root:/root:/bin/sh\n", input_kind::UNKNOWN},
        {"", input_kind::UNKNOWN},
    };
    for (const auto &row : cases) {
        load(row.text);
        EXPECT_EQ(kind_of_tree(def_database), row.kind) << row.text;
    }
    free_fraglist(&def_database);
    for (const char *table : {"*: timeout 5\n", "# a comment\n\nplug-relay, x: hosts *\n"})
        EXPECT_TRUE(looks_like_table(table)) << table;
    for (const char *other : {"", "ip_a=x: y\n", "[a: b]\n", "root:x:0\n", "<a: b>"})
        EXPECT_FALSE(looks_like_table(other)) << other;
}
