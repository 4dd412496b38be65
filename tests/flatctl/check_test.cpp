// Each finding on the smallest input that has it, and inputs that nearly have one.
#include "flatctl/check/check_run.h"
#include "flatctl/options.h"
#include "tests/case_lines.h"
#include "tests/fuzz/path_file.h"

#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>

using namespace flatlink;

static checked_input checked(std::string_view text, const check_task &task = {}, mode_t mode = 0600)
{
    path_file file;
    file.set_text(text);
    (void)chmod(file.path().c_str(), mode);
    checked_input all;
    EXPECT_EQ(open_input(file.path(), {}, all.file), "");
    all.file.limits.may_use_memory_files = true;
    known_world world;
    read_services(world);
    EXPECT_EQ(check_input(task, world, all), STATUS_FINE);
    return all;
}

// For the options of proxies that smallest inputs use.
static const check_task &with_options()
{
    static const check_task task = [] {
        check_task made;
        EXPECT_EQ(read_proxy_options(TEST_DATA_DIR "/../../examples/plug-relay/plug-relay.options",
                                     made.options["plug-relay"]),
                  "");
        return made;
    }();
    return task;
}

// CODE:LINE:COLUMN of each finding.
static std::string found_in(std::string_view text, const check_task &task = {}, mode_t mode = 0600)
{
    std::string codes;
    for (const finding &found : checked(text, task, mode).findings)
        codes += (codes.empty() ? "" : " ") + std::string(found.row->code) + ":" +
                 std::to_string(found.line) + ":" + std::to_string(found.column);
    return codes;
}

// CODE*N of the codes, in their order.
static std::string counts_in(const check_task &task, std::string_view text)
{
    std::map<std::string_view, int> counts;
    for (const finding &found : checked(text, task).findings)
        counts[found.row->code] += found.count;
    std::string codes;
    for (const auto &[code, count] : counts)
        codes += (codes.empty() ? "" : " ") + std::string(code) + "*" + std::to_string(count);
    return codes;
}

static std::string repeated(const std::string &lines, int times)
{
    std::string text;
    for (int i = 1; i <= times; ++i)
        for (const char c : lines)
            text += c == '#' ? std::to_string(i) : std::string(1, c);
    return text;
}

class CheckCases : public testing::TestWithParam<const char *>
{
};

TEST_P(CheckCases, AreJudged)
{
    std::set<std::string> without_row;
    for (const finding_row &row : finding_rows())
        if (std::string_view(GetParam()).ends_with("tables") && row.code[0] == 'T')
            without_row.emplace(row.code);
    for (case_row &row : case_rows(GetParam(), "kind mode opts from each reps want")) {
        SCOPED_TRACE(row["case"]);
        EXPECT_NE(find_code(row["case"].substr(0, 4)), nullptr);
        without_row.erase(row["case"].substr(0, 4));
        const auto mode = static_cast<mode_t>(std::stoi(row["mode"], nullptr, 8));
        check_task task{.kind = row["kind"]};
        path_file options;
        options.set_text(row["opts"] + "\n");
        if (!row["opts"].empty()) {
            EXPECT_EQ(read_proxy_options(options.path(), task.options["relay"]), "");
        }
        std::string text = row["from"].empty() ? "" : bytes_of(row["from"]);
        if (!row["each"].empty())
            text += repeated(row["each"] + "\n", std::stoi(row["reps"]));
        const bool is_counted = row["want"].find('*') != std::string::npos;
        EXPECT_EQ(is_counted ? counts_in(task, text) : found_in(text, task, mode), row["want"]);
    }
    for (const char *in_code : {"T102", "T105"}) // long lines, below
        without_row.erase(in_code);
    EXPECT_TRUE(without_row.empty()) << *without_row.begin();
}

INSTANTIATE_TEST_SUITE_P(Files, CheckCases, testing::Values("flatctl/databases", "flatctl/tables"));

TEST(Check, SmallestInputs)
{
    for (const finding_row &row : finding_rows()) {
        EXPECT_EQ(find_code(row.code), &row);
        EXPECT_NE(row.smallest.empty(), row.shape.empty()) << row.code;
        if (row.smallest.empty())
            continue;
        const std::string found = found_in(smallest_input(row) + "\n", with_options());
        EXPECT_EQ(found.substr(0, 4), row.code) << found;
        EXPECT_EQ(found.find(' '), std::string::npos) << found;
    }
}

TEST(Check, LongLines)
{
    const std::string begin = "relay: note ";
    EXPECT_EQ(found_in(begin + std::string(1022 - begin.size(), 'x') + "\n"), "");
    EXPECT_EQ(found_in(begin + std::string(1023 - begin.size(), 'x') + "\n"), "T102:1:1");
    std::string arguments = begin;
    for (int i = 0; i < 255; ++i)
        arguments += "a ";
    EXPECT_EQ(found_in(arguments + "\n"), "");
    EXPECT_EQ(found_in(arguments + "b\n"), "T105:1:523");
}

TEST(Check, FindingsAreKeptUpToTheirNumberAndFolded)
{
    std::string text;
    for (int i = 0; i < 1500; ++i)
        text += "ip_hostname=gate\n";
    std::vector<finding> findings = checked(text).findings;
    EXPECT_EQ(findings.size(), 1000U);
    findings.push_back({.row = find_code("D501")});
    for (finding &one : findings)
        one.related.clear();
    fold_findings(findings);
    ASSERT_EQ(findings.size(), 2U);
    EXPECT_EQ(findings[0].also.size(), 999U);
    EXPECT_EQ(findings[0].count, 1499);
}
