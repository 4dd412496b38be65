// Reads any bytes as a netperm-table: each record is whole and in its place, each fault names its
// line, and a copy is like its list.
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/report.h"
#include "tests/fuzz/path_file.h"

#include <cstdint>
#include <cstring>

using namespace flatlink;

namespace
{

int last_fault = 0; // line of the last report about a line

void take_report(CServiceContext *, CConnectionContext *, const UNIQUE_DATA_T &uniq, int priority,
                 const char *, va_list)
{
    must(priority == REPORT_NOTICE, "another priority");
    if (uniq.event != 11502)
        return;
    must(uniq.line >= 0, "a fault in no line");
    last_fault = uniq.line;
}

// Returns the number of the list's last line.
int check_list(const cfgrec *list)
{
    int line = 0;
    for (; list != nullptr; list = list->next) {
        must(list->lineno > line, "lines out of order");
        line = list->lineno;
        must(list->argc >= 0 && list->argc <= 255, "too many arguments");
        must(list->argv[list->argc] == nullptr, "no end of the arguments");
        must(std::strpbrk(list->keyword, " \t\n") == nullptr, "space in a keyword");
        std::size_t bytes = 0;
        for (int i = 0; i < list->argc; ++i)
            bytes += std::strlen(list->argv[i]);
        must(bytes < 1024, "more than a line");
        must((list->flags & (list->flags - 1)) == 0 && list->flags < 8, "two kinds in one");
    }
    return line;
}

void check_copy(const cfgrec *list)
{
    cfgrec *copy = cfg_copy(list);
    const cfgrec *record = copy;
    for (; list != nullptr; list = list->next, record = record->next) {
        must(record->lineno == list->lineno && record->argc == list->argc, "a copy");
        must(std::strcmp(record->keyword, list->keyword) == 0, "a copied keyword");
        for (int i = 0; i < list->argc; ++i)
            must(std::strcmp(record->argv[i], list->argv[i]) == 0, "a copied argument");
    }
    must(record == nullptr, "a longer copy");
    cfg_free(copy);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static path_file file;
    static int any = 0;
    servContext = reinterpret_cast<CServiceContext *>(&any); // only passed on
    connContext = reinterpret_cast<CConnectionContext *>(&any);
    report_hook = take_report;
    file.set_text({reinterpret_cast<const char *>(data), size});
    cfg_setpfile(file.path().c_str());

    last_fault = 0;
    cfgrec *list = cfg_read("n");
    must(list != cfg_failure(), "a table that cannot be read");
    const int lines = 1 + static_cast<int>(size); // more than the file can have
    must(check_list(list) < lines && last_fault < lines, "a line that is not there");
    check_copy(list);
    proxy_confp = list;
    must(cfg_bldCFGlist() <= POLICIES_MAX, "too many policies");
    free_cfglist();
    cfg_free(list);
    proxy_confp = nullptr;

    servContext = nullptr;
    connContext = nullptr;
    return 0;
}
