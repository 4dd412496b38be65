#include "lib/fwall/table/config.h"

#include "lib/fwall/table/cfgrec.h"
#include "tests/fwall/table_file.h"
#include "tests/kdev/open_descriptors.h"
#include "tests/ulib/report_log.h"

#include <gtest/gtest.h>
#include <memory>
#include <sstream>

using namespace flatlink;

using namespace std::string_literals;

struct free_list {
    void operator()(cfgrec *list) const { cfg_free(list); }
};
using cfg_list = std::unique_ptr<cfgrec, free_list>;

// One record a line: number, flags, keyword, then each argument in brackets.
static std::string shown(const cfgrec *list)
{
    std::string text;
    for (; list != nullptr; list = list->next) {
        text +=
            std::to_string(list->lineno) + " " + std::to_string(list->flags) + " " + list->keyword;
        for (int i = 0; i < list->argc; ++i)
            text += std::string("[") + list->argv[i] + "]";
        EXPECT_EQ(list->argv[list->argc], nullptr);
        text += "\n";
    }
    return text;
}

TEST(CfgRead, ReadsLinesAndReportsFaults)
{
    const std::string full(1022 - 5, 'x'); // after "n: k "
    const std::string long_comment = "#" + std::string(1022, 'x');
    const std::string megabyte(1 << 20, ':');
    std::string many, most;
    for (int i = 0; i < 300; ++i) {
        many += " x";
        most += i < 255 ? "[x]" : "";
    }
    const struct {
        std::string table, want;
        const char *faults = ""; // a line each
    } cases[] = {
        {"", ""},
        {"a,n c: k x\nb: k y\n\tn\t:k z\n*: k w\nn,: k v\nnn: k u\n,: k\n: k\n",
         "1 0 k[x]\n3 0 k[z]\n4 0 k[w]\n5 0 k[v]\n"},
        {"n: deny-hosts a\nn: permit-hosts b\nn: absorb-x c\nn: Deny-hosts d\n"
         "n: deny-permit-x e\nn: permit-absorb-x f\nn: deny- g\n",
         "1 2 hosts[a]\n2 1 hosts[b]\n3 4 x[c]\n4 0 Deny-hosts[d]\n"
         "5 2 permit-x[e]\n6 1 absorb-x[f]\n7 2 [g]\n"},
        {"#n: k x\nn: k #y\n #n: k x\n  # text\n # n: k x\n", "2 0 k[#y]\n5 0 k[x]\n",
         "4 malformed\n"},
        {"n: k\nn: k \nn:k\t\nn: k  \nn: k \t\nn: k ,\n", "4 0 k\n5 0 k\n6 0 k\n",
         "1 missing parameter\n2 missing parameter\n3 missing parameter\n"},
        {"n:\nn:  \t\nn k\n:\n", "", "1 malformed\n2 malformed\n3 malformed\n"},
        {"m: k\nm:\nx\nm: k", "", "3 malformed\n4 too long\n"}, // faults of others' lines
        {"n: k\r\nn: k x\r\nn\r: k x\n", "2 0 k[x]\n", "1 missing parameter\n"},
        {"n: k x\nn: k y", "1 0 k[x]\n", "2 too long\n"},
        {"n: k " + full + "\nn: k y\n", "1 0 k[" + full + "]\n2 0 k[y]\n"},
        {"n: k " + full + "x\nn: k y\n", "2 0 k[y]\n", "1 too long\n"},
        {"n: k y\nn: k " + megabyte + "\nn: k z\n" + megabyte, "1 0 k[y]\n3 0 k[z]\n",
         "2 too long\n4 too long\n"},
        // A long comment ends with its piece; what follows it comes back as a line.
        {long_comment + "n: k y\nn: k z\n", "2 0 k[y]\n3 0 k[z]\n"},
        {long_comment + "\n" + long_comment + "zz\n", "", "4 malformed\n"},
        {"n: k" + many + "\n", "1 0 k" + most + "\n"},
        {"n: k a\0b 'c\0d'\nn\0: k x\nn: k\0l x\nn: \0\nn: k \0\n"s, "1 0 k[ab][cd]\n5 0 k\n",
         "3 malformed\n4 malformed\n"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.table.substr(0, 100));
        const table_file table(row.table);
        const report_log log;
        const cfg_list list(cfg_read("n"));
        EXPECT_EQ(shown(list.get()), row.want);
        std::istringstream faults(row.faults);
        std::string want;
        for (std::string fault; std::getline(faults, fault);)
            want +=
                "11502/" + fault.substr(0, 1) + " cfgerr: " + table.path + " line " + fault + "\n";
        EXPECT_EQ(report_log::lines(), want);
    }
}

TEST(CfgRead, ReportsATableThatCannotBeRead)
{
    const table_file table("n: k x\n" + std::string(3000, 'x'));
    const auto before = open_descriptors();
    cfg_free(cfg_read("n"));
    for (const auto &[behind, reason] :
         {std::pair("/missing", "No such file or directory"), {"", "Is a directory"}}) {
        const report_log log;
        const std::string path = table.folder.string() + behind;
        cfg_setpfile(path.c_str());
        EXPECT_EQ(cfg_read("n"), cfg_failure());
        EXPECT_EQ(report_log::lines(),
                  "11500/0 syserr: configuring n, cannot open " + path + ": " + reason + "\n");
        EXPECT_EQ(report_log::priority, 5);
    }
    EXPECT_EQ(open_descriptors(), before);
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
    for (const char *text : {"on", "  \tYES", "TRUE", "1", " *"})
        EXPECT_TRUE(is_on(text)) << text;
    for (const char *text : {"1 ", "on ", "off", "", "yesno", "**", "11", "\non"})
        EXPECT_FALSE(is_on(text)) << text;
    EXPECT_FALSE(is_on(nullptr));
}

TEST(CfgGet, WalksWithOnePlaceForTheProcess)
{
    const table_file table("n: a 1\nn: b 2\nn: a 3\nn: A 4\nn: b 5\n");
    cfg_list list(cfg_read("n"));
    const cfgrec *first = cfg_get("a", list.get());
    EXPECT_EQ(cfg_next("b", first)->lineno, 2); // does not move the place
    EXPECT_EQ(cfg_first("A", list.get())->lineno, 4);
    EXPECT_EQ(cfg_get("a", nullptr)->lineno, 3);
    EXPECT_EQ(cfg_get("b", nullptr)->lineno, 5);
    for (const char *keyword : {"b", "a"}) // over, and stays so
        EXPECT_EQ(cfg_get(keyword, nullptr), nullptr);
    EXPECT_EQ(cfg_get("a", cfg_failure()), nullptr);
    EXPECT_NE(cfg_get("a", list.get()), nullptr);
    list.reset();
    EXPECT_EQ(cfg_get("b", nullptr), nullptr); // the place went with its list
}

TEST(CfgCopy, IsDeepAndKeepsOrder)
{
    const table_file table("n: permit-a 1 2\nn: b  \nn: deny-c 3\n");
    cfg_list list(cfg_read("n"));
    const cfg_list copy(cfg_copy(list.get()));
    list.reset();
    EXPECT_EQ(copy->next->argv, nullptr);
    char *none[1] = {nullptr};
    copy->next->argv = none;
    EXPECT_EQ(shown(copy.get()), "1 1 a[1][2]\n2 0 b\n3 2 c[3]\n");
    EXPECT_EQ(cfg_copy(nullptr), nullptr);
    EXPECT_EQ(cfg_copy(cfg_failure()), cfg_failure());
}
