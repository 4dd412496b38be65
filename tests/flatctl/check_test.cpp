// Each finding on the smallest input that has it, and inputs that nearly have one.
#include "flatctl/check_database.h"
#include "flatctl/options.h"
#include "flatctl/verbs.h"
#include "tests/fuzz/path_file.h"

#include <gtest/gtest.h>

using namespace flatlink;

// The codes that a database gives, each with its line.
static std::string found_in(std::string_view text, int mode = 0600)
{
    path_file file;
    file.set_text(text);
    (void)chmod(file.path().c_str(), static_cast<mode_t>(mode));
    input database;
    const known_world nothing;
    EXPECT_EQ(open_input(file.path(), {}, database), "");
    database.limits.may_use_memory_files = true;
    std::string codes;
    const child_result result = run_child(
        database.limits, database.fd.get(),
        [&](child_port &port) { return check_in_child(database, nothing, port); },
        [&](frame_kind kind, std::string_view bytes) {
            finding found;
            if (kind == frame_kind::record && unpack_finding(bytes, found))
                codes += std::string(found.row->code) + ":" + std::to_string(found.line) + " ";
        });
    EXPECT_EQ(result.end, child_end::done) << words_for(result);
    return codes;
}

TEST(Check, SmallestInputs)
{
    for (const finding_row &row : finding_rows()) {
        EXPECT_EQ(find_code(row.code), &row);
        if (row.smallest.empty())
            continue;
        const std::string found = found_in(std::string(row.smallest) + "\n");
        EXPECT_EQ(found.substr(0, 4), row.code) << found;
        EXPECT_EQ(found.find(' '), found.size() - 1) << found;
    }
}

TEST(Check, Inputs)
{
    static const struct {
        const char *text, *found;
        int mode = 0600;
    } cases[] = {
        {"ip_hostname=gate\n", ""},
        {"ip_hostname=gate = tower \nip_domainname=a#b\n", ""},
        {"<ip><a>1</a><a>2</a></ip>", ""}, // repeated elements are elements
        {"[ip]\nhostname=gate\n", ""},
        {"[ip]\nhostname= gate\n", "D112:2 "},
        {"ip_hostname=gate\n\n\nip_hostname=b\nip_hostname=c", "D111:1 D111:4 "},
        {"vpn_settings_anonsecret=x\n", "", 0600},
        {"vpn_settings_anonsecret=x\n", "D601:0 ", 0640},
        {"ip_hostname=gate\n", "", 0644},
        {"ip_hostname=gate\n", "D601:0 ", 0622},
        {"net_group_a_elem_1_type=group\nnet_group_a_elem_1_obj=net_group_a\n"
         "rule_pffwd_1_src=net_group_a\nrule_pffwd_1_dst=net_group_a\n",
         "D210:0 "},
        {"# a table\nrelay: hosts * -policy p\npolicy-p: timeout 5\n*: timeout 1\n", ""},
        {"relay: hosts * -policy p\nrelay:\npolicy-p, x: timeout \"5\nonly: a\n", "T101:2 T101:4 "},
    };
    for (const auto &row : cases)
        EXPECT_EQ(found_in(row.text, row.mode), row.found) << row.text;
    EXPECT_EQ(found_in("ip_" + std::string(126, 'n') + "=1\n"), "");
    EXPECT_EQ(found_in("ip_" + std::string(127, 'n') + "=1\n"), "");
    EXPECT_EQ(found_in("ip_" + std::string(128, 'n') + "=1\n"), "D113:1 ");
}

TEST(Check, FindingsAreKeptUpToTheirNumber)
{
    std::string text;
    for (int i = 0; i < 1500; ++i)
        text += "ip_hostname=gate\n";
    const std::string found = found_in(text);
    EXPECT_EQ(std::ranges::count(found, ' '), 1000);
}
