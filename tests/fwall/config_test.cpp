#include "lib/fwall/config.h"

#include "tests/fwall/cfg_list.h"
#include "tests/fwall/report_log.h"
#include "tests/fwall/table_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

using namespace std::string_literals;

static std::string repeated(int times, const std::string &text)
{
    std::string all;
    for (int i = 0; i < times; ++i)
        all += text;
    return all;
}

TEST(CfgRead, ReadsLinesAndReportsFaults)
{
    const std::string full(1022 - 5, 'x'); // behind "n: k "
    const struct {
        const char *label;
        std::string table, want;
        std::vector<std::pair<int, const char *>> faults; // line and what is behind it
    } cases[] = {
        {"empty file", "", "", {}},
        {"names",
         "a,n c: k x\nb: k y\n\tn\t:k z\n*: k w\nn,: k v\nnn: k u\n,: k\n: k\n",
         "1 0 k[x]\n3 0 k[z]\n4 0 k[w]\n5 0 k[v]\n",
         {}},
        {"prefixes",
         "n: deny-hosts a\nn: permit-hosts b\nn: absorb-x c\nn: Deny-hosts d\n"
         "n: deny-permit-x e\nn: permit-absorb-x f\nn: deny- g\n",
         "1 2 hosts[a]\n2 1 hosts[b]\n3 4 x[c]\n4 0 Deny-hosts[d]\n"
         "5 2 permit-x[e]\n6 1 absorb-x[f]\n7 2 [g]\n",
         {}},
        {"comments", "#n: k x\nn: k #y\n #n: k x\n  # text\n", "2 0 k[#y]\n", {{4, "malformed"}}},
        {"a comment behind blanks names", " # n: k x\n", "1 0 k[x]\n", {}},
        {"blank lines", "\n \t \nn: k x\n", "3 0 k[x]\n", {}},
        {"further colons",
         "n: permit-hosts 1.2.3.4 -policy x:y\n",
         "1 1 hosts[1.2.3.4][-policy][x:y]\n",
         {}},
        {"nothing behind the keyword",
         "n: k\nn: k \nn:k\t\nn: k  \nn: k \t\nn: k ,\n",
         "4 0 k\n5 0 k\n6 0 k\n",
         {{1, "missing parameter"}, {2, "missing parameter"}, {3, "missing parameter"}}},
        {"blank body",
         "n:\nn:  \t\nn k\n:\n",
         "",
         {{1, "malformed"}, {2, "malformed"}, {3, "malformed"}}},
        {"faults of others' lines", "m: k\nm:\nx\nm: k", "", {{3, "malformed"}, {4, "too long"}}},
        {"carriage return",
         "n: k\r\nn: k x\r\nn\r: k x\n",
         "2 0 k[x]\n",
         {{1, "missing parameter"}}},
        {"no newline at the end", "n: k x\nn: k y", "1 0 k[x]\n", {{2, "too long"}}},
        {"comment without newline", "n: k x\n# y", "1 0 k[x]\n", {}},
        {"longest line", "n: k " + full + "\nn: k y\n", "1 0 k[" + full + "]\n2 0 k[y]\n", {}},
        {"one more", "n: k " + full + "x\nn: k y\n", "2 0 k[y]\n", {{1, "too long"}}},
        {"two pieces",
         "n: k " + full + full + full + "\nn: k y\n",
         "2 0 k[y]\n",
         {{1, "too long"}}},
        {"a megabyte",
         "n: k " + std::string(1 << 20, 'x') + "\nn: k y\n",
         "2 0 k[y]\n",
         {{1, "too long"}}},
        {"a megabyte without newline",
         "n: k y\n" + std::string(1 << 20, ':'),
         "1 0 k[y]\n",
         {{2, "too long"}}},
        {"blank and long", std::string(1023, ' ') + "\nn: k y\n", "2 0 k[y]\n", {{1, "too long"}}},
        {"long comment ends with its piece",
         "#" + std::string(1022, 'x') + "\nn: k y\n",
         "3 0 k[y]\n",
         {}},
        {"long comment comes back as a line",
         "#" + std::string(1022, 'x') + "n: k y\nn: k z\n",
         "2 0 k[y]\n3 0 k[z]\n",
         {}},
        {"long comment comes back as a fault",
         "#" + std::string(1022, 'x') + "zz\nn: k z\n",
         "3 0 k[z]\n",
         {{2, "malformed"}}},
        {"300 arguments",
         "n: k" + repeated(300, " x") + "\n",
         "1 0 k" + repeated(255, "[x]") + "\n",
         {}},
        {"quotes and escapes",
         "n: k \"abc def\nn: k '\nn: k \\\nn: k a\\ b\n",
         "1 0 k[abc def]\n2 0 k[]\n3 0 k\n4 0 k[a b]\n",
         {}},
        {"zero bytes",
         "n: k a\0b 'c\0d'\nn\0: k x\nn: k\0l x\nn: \0\nn: k \0\n"s,
         "1 0 k[ab][cd]\n5 0 k\n",
         {{3, "malformed"}, {4, "malformed"}}},
        {"long name", std::string(200, 'm') + " n: k x\n", "1 0 k[x]\n", {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const table_file table(row.table);
        const report_log log;
        const cfg_list list(cfg_read("n"));
        EXPECT_EQ(shown(list.get()), row.want);
        std::vector<told> want;
        for (const auto &[line, what] : row.faults)
            want.push_back(
                {11502, line,
                 "cfgerr: " + table.path + " line " + std::to_string(line) + " " + what});
        EXPECT_EQ(report_log::reports, want);
    }
}

TEST(CfgRead, ReadsAnyPlaceOfALargeTable)
{
    std::string text;
    for (int i = 1; i <= 5000; ++i)
        text += "n: k" + std::string(static_cast<std::size_t>(i % 97 + 1), ' ') + "v" +
                std::to_string(i) + "\n";
    const table_file table(text);
    const cfg_list list(cfg_read("n"));
    int line = 0;
    for (const cfgrec *record = list.get(); record != nullptr; record = record->next) {
        ASSERT_EQ(record->lineno, ++line);
        ASSERT_EQ(record->argc, 1);
        ASSERT_EQ(record->argv[0], "v" + std::to_string(line));
    }
    EXPECT_EQ(line, 5000);
}

TEST(CfgRead, ReportsATableThatCannotBeRead)
{
    const table_file table("n: k x\n");
    static const struct {
        const char *label, *behind, *reason;
    } cases[] = {
        {"missing", "/missing", "No such file or directory"},
        {"below a file", "/netperm-table/x", "Not a directory"},
        {"a folder", "", "Is a directory"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.label);
        const report_log log;
        const std::string path = table.folder.string() + row.behind;
        cfg_setpfile(path.c_str());
        EXPECT_EQ(cfg_read("n"), cfg_failure());
        const std::vector<told> want = {
            {11500, 0, "syserr: configuring n, cannot open " + path + ": " + row.reason}};
        EXPECT_EQ(report_log::reports, want);
        EXPECT_EQ(report_log::priority, 5);
    }
}

TEST(CfgRead, NoSendLogGoesToTheSystemLog)
{
    const table_file table("n: k x\nbad\n");
    const report_log log;
    openlog("table", LOG_PERROR, LOG_USER); // the system log's lines on the error stream, too
    testing::internal::CaptureStderr();
    const cfg_list list(cfg_read_no_SendLog("n"));
    closelog();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "table: cfgerr: " + table.path + " line 2 malformed\n");
    EXPECT_EQ(shown(list.get()), "1 0 k[x]\n");
    EXPECT_TRUE(report_log::reports.empty());
}

TEST(CfgRead, LeavesNoDescriptor)
{
    const table_file table("n: k x\n" + std::string(3000, 'x'));
    const report_log log;
    const int before = dup(0);
    close(before);
    cfg_free(cfg_read("n"));
    cfg_setpfile(table.folder.c_str());
    EXPECT_EQ(cfg_read("n"), cfg_failure());
    const int after = dup(0);
    close(after);
    EXPECT_EQ(after, before);
}

TEST(CfgSetpfile, FollowsTheInstallation)
{
    const table_file table("n: k x\n");
    const std::filesystem::path profile = table.folder / "opt/KORVwss/.profile.vars";
    std::filesystem::create_directories(profile.parent_path());
    std::ofstream(profile) << "install_locusrlocaletc=" << table.folder.string() << "\n";
    setenv("KORVWSS", table.folder.c_str(), 1);
    EXPECT_EQ(cfg_setpfile(nullptr), 0); // the next read takes the default path, mapped
    const cfg_list list(cfg_read("n"));
    unsetenv("KORVWSS");
    EXPECT_EQ(shown(list.get()), "1 0 k[x]\n");
}

TEST(IsOn, KnowsItsWords)
{
    static const struct {
        const char *text;
        bool want;
    } cases[] = {
        {"on", true},  {"  \tYES", true}, {"TRUE", true},  {"1", true},      {" *", true},
        {"1 ", false}, {"on ", false},    {"off", false},  {"", false},      {"yesno", false},
        {"**", false}, {"11", false},     {"\non", false}, {nullptr, false},
    };
    for (const auto &row : cases)
        EXPECT_EQ(is_on(row.text), row.want) << (row.text == nullptr ? "null" : row.text);
}
