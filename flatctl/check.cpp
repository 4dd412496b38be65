// check FILE...: all findings about each database or table, in one run, without touching any.
#include "flatctl/check_print.h"
#include "flatctl/check_run.h"
#include "flatctl/options.h"
#include "flatctl/text_write.h"
#include "flatctl/verbs.h"

#include <algorithm>

using namespace flatlink;

static bool is_wanted(const request &asked, const finding &found)
{
    const std::string codes = "," + asked.only + ",";
    return asked.only.empty() ||
           codes.find("," + std::string(found.row->code) + ",") != std::string::npos;
}

static int check_file(const request &asked, const std::string &path, const known_world &world,
                      checked_input &checked)
{
    if (const std::string error = open_database(path, asked, checked.file); !error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    checked.file.limits.may_use_memory_files = true; // for the reader of a table
    const int status = check_input({.kind = asked.kind}, world, checked);
    std::erase_if(checked.findings, [&](const finding &found) { return !is_wanted(asked, found); });
    fold_findings(checked.findings);
    return status;
}

int flatlink::run_check(const request &asked)
{
    known_world world;
    if (const std::string error = read_world(asked, world); !error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    std::vector<checked_input> all(asked.operands.size());
    level_counts counts;
    int status = STATUS_FINE;
    for (std::size_t i = 0; i < all.size(); ++i) {
        status = std::max(status, check_file(asked, asked.operands[i], world, all[i]));
        for (const finding &found : all[i].findings)
            counts.add(found.row->level);
    }
    if (!asked.quiet)
        print_checked(all, counts, asked);
    const bool is_bad = counts.errors() > 0 || (asked.strict && counts.warnings() > 0);
    return status == STATUS_FINE && is_bad ? STATUS_FOUND : status;
}
