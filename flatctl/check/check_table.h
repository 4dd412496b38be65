// The check of one netperm-table: runs inside of a child that may use files of memory.
//
// Everything that is found comes from the code that proxies run: reports, and what its watch
// (table_watch.h) tells. Where that code ends the process, the child ends, and another one goes on
// with the next step.
#pragma once

#include "flatctl/access/proxy_options.h"
#include "flatctl/check/findings.h"
#include "flatctl/input/kind.h"
#include "flatctl/input/run_child.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

struct table_task {
    std::string proxy; // the only one to be checked; empty for all
    const std::map<std::string, proxy_options> *options = nullptr; // by proxy; null for none
    int first_step = 0; // 0: the reading of the whole table; then the start of each proxy
};

// The table is read once for each name in it, so the names times its bytes are bounded: this takes
// some seconds. Names beyond it are not checked.
inline constexpr double TABLE_BYTES_MAX = 4e9;

namespace flatlink
{

// Sends findings, facts and the steps that are taken (check_message.h). Ends the process as a proxy
// does that cannot go on; the last step, and the report that was sent as its cause, tell why.
void check_table(std::string_view table, const table_task &task, input_facts &facts,
                 const child_port &port);

} // namespace flatlink
