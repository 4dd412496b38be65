#include "flatctl/check_table.h"

#include "flatctl/memory_path.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/report.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <map>
#include <set>
#include <string>

using namespace flatlink;

namespace
{

// Reports of one run over the table: by line and text, each with its code.
using report_map = std::map<std::pair<std::int32_t, std::string>, std::string_view>;

report_map *reports = nullptr;
std::string_view code_now; // of what is reported at the moment

__attribute__((format(printf, 3, 0))) bool keep_report(const UNIQUE_DATA_T &uniq, int /*priority*/,
                                                       const char *format, va_list args)
{
    char text[1024]; // a longer report is cut
    (void)std::vsnprintf(text, sizeof text, format, args);
    reports->try_emplace({uniq.line, without_memory_path(text)}, code_now);
    return true;
}

std::set<std::string> names_in(std::string_view table)
{
    std::set<std::string> names;
    while (!table.empty()) {
        std::string_view line = table.substr(0, table.find('\n'));
        table.remove_prefix(std::min(line.size() + 1, table.size()));
        const std::size_t colon = line.find(':');
        if (colon == std::string_view::npos || line.starts_with('#'))
            continue;
        line = line.substr(0, colon);
        while (!line.empty()) {
            const std::string_view name = line.substr(0, line.find_first_of(" \t,"));
            if (!name.empty() && name != "*")
                names.emplace(name);
            line.remove_prefix(std::min(name.size() + 1, line.size()));
        }
    }
    return names;
}

void check_name(const std::string &name)
{
    code_now = "T101";
    cfgrec *list = cfg_read(name.c_str());
    if (!cfg_has(list))
        return;
    if (!name.starts_with("policy-") && cfg_first("hosts", list) != nullptr) {
        code_now = "T202";
        set_text(proxy_name, name);
        proxy_confp = list;
        (void)cfg_bldCFGlist(); // its reports are the result
        proxy_confp = nullptr;
    }
    cfg_free(list);
}

} // namespace

std::vector<finding> flatlink::check_table(std::string_view table, input_facts &facts)
{
    report_map found;
    reports = &found;
    report_tap = keep_report;
    const memory_path file(table);
    if (cfg_setpfile(file.path().c_str()) == 0) {
        check_name("*"); // lines for all names, and those without one
        for (const std::string &name : names_in(table)) {
            facts.names.push_back(name);
            check_name(name);
        }
    }
    std::vector<finding> findings;
    for (const auto &[place, code] : found)
        findings.push_back({.row = find_code(code), .line = place.first, .detail = place.second});
    return findings;
}
