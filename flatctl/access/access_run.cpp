#include "flatctl/access/access_run.h"

#include "flatctl/input/memory_path.h"
#include "lib/fwall/access/access_watch.h"
#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/serve/settings.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/fixed_text.h"

#include <cstdio>
#include <cstring>
#include <set>

using namespace flatlink;

static access_verdict *watched = nullptr;

static std::string keyword_of(const cfgrec *entry)
{
    const char *prefix = (entry->flags & CFG_DENY) != 0     ? "deny-"
                         : (entry->flags & CFG_PERMIT) != 0 ? "permit-"
                                                            : "";
    return std::string(prefix) + entry->keyword;
}

static access_step step_of(const cfgrec *entry, int argument)
{
    access_step step;
    step.line = entry->lineno;
    step.keyword = keyword_of(entry);
    if (argument < entry->argc)
        step.item = entry->argv[argument];
    return step;
}

static constexpr access_watch_calls WATCH = {
    .asked =
        [](const access_question &question) {
            access_step step = step_of(question.entry, question.argument);
            step.with = question.with == nullptr ? "" : question.with;
            step.fits = question.fits;
            step.reason = static_cast<std::uint8_t>(question.reason);
            watched->steps.push_back(step);
        },
    .decided =
        [](const cfgrec *entry, int argument, bool allows) {
            access_step step = step_of(entry, argument);
            step.is_decision = true;
            step.fits = allows;
            watched->line = step.line;
            watched->steps.push_back(step);
        },
};

// Loads the table as a proxy does when it starts. False when it would not start.
static bool load_table(std::string_view table, const std::string &proxy)
{
    const memory_path file(table);
    set_text(proxy_name, proxy);
    set_text(proxy_rladdr, "");
    set_text(proxy_riaddr, "");
    policy_confp = nullptr;
    return cfg_setpfile(file.path().c_str()) == 0 && proxy_load_config() == 0 &&
           cfg_bldCFGlist() >= 0;
}

static sockaddr_in address_in(u32 addr_be)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = addr_be;
    return address;
}

// In the order in which they are asked; a line for every name is in the policy's list, too.
static std::vector<std::int32_t> lines_of_terms()
{
    std::vector<std::int32_t> lines;
    std::set<std::int32_t> seen;
    for (const cfgrec *entry = policy_confp; entry != nullptr; entry = entry->next)
        if (seen.insert(entry->lineno).second)
            lines.push_back(entry->lineno);
    return lines;
}

static void check_client(const access_question_asked &question, access_verdict &verdict)
{
    const sockaddr_in client = address_in(question.client_be), local{};
    access_watch = nullptr;
    const int unwatched = permit_src_addr_chk(&client, &local);
    const cfgrec *entry = unwatched == SRC_NO_RULE ? nullptr : permit_confp;
    access_watch = &WATCH;
    const bool goes_on = rule_src_addr_chk(&client, &local, question.options, "") != 0;
    access_watch = nullptr;
    verdict.differs = (goes_on && unwatched != SRC_PERMITTED) ||
                      (entry == nullptr ? 0 : entry->lineno) != verdict.line;
    verdict.permitted = goes_on;
    if (goes_on)
        verdict.terms = lines_of_terms();
    verdict.stage = unwatched == SRC_PERMITTED ? access_stage::TERMS : access_stage::CLIENT;
}

static void check_destination(const access_question_asked &question, access_verdict &verdict)
{
    const int unwatched = permit_dst_chk(question.host.c_str(), question.port, policy_confp);
    verdict.line = 0;
    access_watch = &WATCH;
    const int answer = permit_dst_chk(question.host.c_str(), question.port, policy_confp);
    access_watch = nullptr;
    verdict.differs = answer != unwatched;
    verdict.permitted = answer == DST_ALLOWED;
    verdict.no_address = answer == DST_NO_ADDRESS;
    verdict.stage = access_stage::DESTINATION;
    // Ports are asked about only once the host is allowed.
    bool host_allowed = false;
    for (const access_step &step : verdict.steps)
        host_allowed = host_allowed ||
                       (step.is_decision && step.fits && step.keyword.ends_with("destination"));
    if (!host_allowed)
        return;
    verdict.stage = access_stage::PORT;
    const bool by_port = !verdict.steps.empty() && verdict.steps.back().is_decision &&
                         verdict.steps.back().keyword.ends_with("ports");
    if (!verdict.permitted && !by_port)
        verdict.line = 0;
}

access_verdict flatlink::run_access(std::string_view table, const access_question_asked &question)
{
    access_verdict verdict;
    if (!load_table(table, question.proxy))
        return verdict;
    verdict.is_known = true;
    watched = &verdict;
    check_client(question, verdict);
    if (verdict.permitted && !verdict.differs && !question.host.empty())
        check_destination(question, verdict);
    return verdict;
}
