// Verdicts of the checks on tables as texts, and the changes that turn them.
#include "flatctl/access/access_change.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/report.h"
#include "tests/case_lines.h"

#include <gtest/gtest.h>
#include <random>

using namespace flatlink;

namespace
{

struct no_reports {
    no_reports()
    {
        report_tap = [](const UNIQUE_DATA_T &, int, const char *, va_list) { return true; };
    }
    ~no_reports()
    {
        report_tap = nullptr;
        cfg_free(proxy_confp); // of the last table
        proxy_confp = policy_confp = permit_confp = nullptr;
    }
};

access_question_asked question(const char *client, const char *host, int port)
{
    return {"relay", parse_address(client), host, port, nullptr};
}

// "permit 3" or "deny port 0": the line that decides, and the stage where it is denied.
std::string text_of(const access_verdict &verdict)
{
    constexpr const char *stages[] = {"client ", "terms ", "destination ", "port "};
    if (!verdict.is_known)
        return "none";
    return (verdict.permitted ? "permit " : std::string("deny ") + stages[int(verdict.stage)]) +
           std::to_string(verdict.line) + (verdict.differs ? " differs" : "");
}

std::string text_of(const std::vector<table_change> &changes)
{
    std::string text;
    for (const table_change &change : changes)
        text +=
            (change.is_new ? "+" : "~") + std::to_string(change.line) + " " + change.text + "\n";
    return text;
}

// What is proposed must turn the verdict when it is made, and none of it can be left out.
void expect_turning(const std::string &table, const access_question_asked &asked,
                    const access_verdict &before, const std::vector<table_change> &changes)
{
    EXPECT_NE(run_access(changed_table(table, changes), asked).permitted, before.permitted);
    for (std::size_t i = 0; i < changes.size(); ++i) {
        std::vector<table_change> fewer = changes;
        fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
        EXPECT_EQ(run_access(changed_table(table, fewer), asked).permitted, before.permitted);
    }
}

} // namespace

TEST(Access, VerdictsAndChanges)
{
    const no_reports quiet;
    for (case_row &row : case_rows("flatctl/verdicts", "from who dest want")) {
        const std::string table = bytes_of(row["from"]);
        SCOPED_TRACE(table);
        std::vector<std::string> dest = pieces_of(row["dest"], ' ');
        dest.resize(2);
        const auto asked =
            question(row["who"].c_str(), dest[0].c_str(), std::atoi(dest[1].c_str()));
        const access_verdict verdict = run_access(table, asked);
        EXPECT_EQ(text_of(verdict), row["case"]);
        const auto changes = changes_that_turn(table, asked, verdict);
        EXPECT_EQ(text_of(changes), whole_lines(row["want"]));
        if (!changes.empty())
            expect_turning(table, asked, verdict, changes);
    }
}

TEST(Access, RandomTables)
{
    const no_reports quiet;
    std::mt19937 random(7);
    const auto pick = [&](std::initializer_list<const char *> words) {
        return std::string(words.begin()[random() % words.size()]);
    };
    const auto address = [&] { return pick({"10.1.1.1", "10.1.1.2", "10.2.1.1", "11.1.1.1"}); };
    const auto item = [&] {
        return pick({"", "", "!"}) + pick({"10.*", "10.1.*", "*", "11.1.1.1"});
    };
    int proposed = 0;
    for (int round = 0; round < 1500; ++round) {
        std::string table = "policy-p: timeout 1\n";
        for (unsigned lines = random() % 8; lines-- > 0;) {
            const std::string name = pick({"relay", "*", "policy-p"});
            const std::string prefix = pick({"", "", "permit-", "deny-"});
            const std::string kind = pick({"hosts", "destination", "destination", "ports"});
            table += name + ": " + prefix + kind + " ";
            if (kind == "hosts")
                table += pick({"10.*", "*", "10.1.1.1"}) + pick({"", " -policy p"});
            else
                table +=
                    kind == "ports" ? pick({"25", "!25", "80 25", "*"}) : item() + " " + item();
            table += "\n";
        }
        table += "relay: timeout 5\n";
        SCOPED_TRACE(table);
        const auto asked = question(address().c_str(), address().c_str(), random() % 2 ? 25 : 80);
        const access_verdict verdict = run_access(table, asked);
        EXPECT_FALSE(verdict.differs);
        const auto changes = changes_that_turn(table, asked, verdict);
        proposed += changes.empty() ? 0 : 1;
        if (!changes.empty())
            expect_turning(table, asked, verdict, changes);
    }
    EXPECT_GT(proposed, 1400);
}
