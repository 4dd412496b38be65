// check FILE...: all findings about each database or table, in one run, without touching any.
#include "flatctl/check/check_print.h"
#include "flatctl/check/check_run.h"
#include "flatctl/common/text_write.h"
#include "flatctl/options.h"
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
                      const std::map<std::string, proxy_options> &options, checked_input &checked)
{
    std::string error = open_database(path, asked, checked.file);
    if (error.empty())
        error = make_rereadable(checked.file);
    if (!error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    checked.file.limits.may_use_memory_files = true; // for the reader of a table
    check_task task{.kind = asked.kind,
                    .proxy = asked.proxy,
                    .options = options,
                    .wants_digest = asked.format == "json"};
    const int status = check_input(task, world, checked);
    std::erase_if(checked.findings, [&](const finding &found) { return !is_wanted(asked, found); });
    fold_findings(checked.findings);
    return status;
}

int flatlink::run_check(const request &asked)
{
    known_world world;
    auto options = installed_proxy_options();
    std::string error = read_world(asked, world);
    if (error.empty() && !asked.options.empty()) {
        if (asked.proxy.empty()) {
            tell("--options needs --proxy, whose options they are");
            return STATUS_USAGE;
        }
        error = read_proxy_options(asked.options, options[asked.proxy]);
    }
    if (!error.empty()) {
        tell(error);
        return STATUS_UNREADABLE;
    }
    read_services(world);
    std::vector<checked_input> all(asked.operands.size());
    level_counts counts;
    int status = STATUS_FINE;
    for (std::size_t i = 0; i < all.size(); ++i) {
        status = std::max(status, check_file(asked, asked.operands[i], world, options, all[i]));
        for (const finding &found : all[i].findings)
            counts.add(found.row->level);
    }
    if (!asked.quiet)
        print_checked(all, counts, asked);
    const bool is_bad = counts.errors() > 0 || (asked.strict && counts.warnings() > 0);
    return status == STATUS_FINE && is_bad ? STATUS_FOUND : status;
}
