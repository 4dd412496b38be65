// Everything that the checks of a proxy work on, for one test: its entries, its policies, real
// contexts whose reports are kept, and a scripted name service.
#pragma once

#include "lib/fwall/log/context.h"
#include "lib/fwall/match/src_patterns.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/fixed_text.h"
#include "tests/fwall/table_file.h"
#include "tests/ulib/report_log.h"
#include "tests/ulib/scripted_names.h"

#include <gtest/gtest.h>
#include <sstream>

// A table of one proxy's entries: each line but those of policies gets the name "n".
inline std::string entries(const std::string &lines)
{
    std::istringstream stream(lines);
    std::string text;
    for (std::string line; std::getline(stream, line);)
        text += (line.starts_with("policy-") ? "" : "n: ") + line + "\n";
    return text;
}

struct proxy_setup {
    table_file table;
    CServiceContext service;
    CConnectionContext connection;
    report_log log; // after the service, whose hook it replaces
    scripted_names names;

    // With `prepared` the list is indexed and its patterns are compiled, as start-up does it.
    explicit proxy_setup(const std::string &lines, bool prepared = false) : table(entries(lines))
    {
        servContext = &service;
        connContext = &connection;
        flatlink::set_text(proxy_name, "relay");
        flatlink::set_text(proxy_riaddr, "");
        flatlink::set_text(proxy_rladdr, "");
        permit_confp = nullptr;
        proxy_confp = policy_confp = cfg_read("n");
        if (prepared) {
            flatlink::cfg_index_keywords(proxy_confp);
            flatlink::compile_host_patterns(proxy_confp);
        }
        (void)cfg_bldCFGlist();
        report_log::reports.clear();
    }

    ~proxy_setup()
    {
        // The records of options, which have no owner.
        while (policy_confp != nullptr && policy_confp != proxy_confp) {
            cfgrec *next = policy_confp->next;
            policy_confp->next = nullptr;
            cfg_free(policy_confp);
            policy_confp = next;
        }
        cfg_free(proxy_confp);
        proxy_confp = policy_confp = permit_confp = nullptr;
        free_cfglist();
    }

    proxy_setup(const proxy_setup &) = delete;
    proxy_setup &operator=(const proxy_setup &) = delete;

    // The questions to the name service, then the reports, a line each.
    std::string asked_and_told() const { return names.lines() + report_log::lines(); }
};

inline sockaddr_in plain_address(const char *text)
{
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = inet_addr(text);
    return addr;
}
