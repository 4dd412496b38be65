// The steps of the checker that may end the process, as they end a proxy: its start, and the ports
// of each entry that names any.
#include "flatctl/check/check_message.h"
#include "flatctl/check/table_checker.h"
#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/log/log.h"
#include "lib/fwall/serve/settings.h"
#include "lib/ulib/fixed_text.h"

using namespace flatlink;

// False for a step that an earlier child took.
bool table_checker::begins_step()
{
    if (++step_ < task_.first_step)
        return false;
    port_.send(frame_kind::RECORD, packed_step(step_));
    return true;
}

void table_checker::try_ports(cfgrec *list)
{
    for (const cfgrec *entry = list; entry != nullptr; entry = entry->next)
        try_ports_of(entry);
}

void table_checker::try_ports_of(const cfgrec *entry)
{
    const std::string_view keyword = entry->keyword;
    const bool is_block = keyword == "afw-dest";
    if (keyword != "ports" && !is_block)
        return;
    for (int i = 0; i < (is_block ? 1 : entry->argc); ++i) {
        const char *item = is_block && entry->argc > 1 ? entry->argv[1] : entry->argv[i];
        if (!tried_.insert({entry->lineno, item}).second || !begins_step())
            continue;
        entry_ = entry;
        const cfg_list alone = copy_of(entry, i, is_block ? entry->argc : 1);
        const char *mapped = nullptr, *reverse = nullptr;
        constexpr int NO_PORT = -1; // so that the destination is not compared
        if (is_block)
            (void)afwDestBlock("", NO_PORT, alone.get(), &mapped, &reverse);
        else
            (void)permit_port_chk(NO_PORT, alone.get());
        entry_ = nullptr;
    }
}

void table_checker::start(const std::string &name)
{
    if (!is_policy(name) && begins_step()) {
        set_text(proxy_name, name);
        if (proxy_load_config() == 0) {
            bool is_faulty = false;
            (void)denial_file(is_faulty);
            (void)Log::CheckLogConfig(proxy_confp);
        }
        policy_confp = nullptr;
    }
    const cfg_list list = read_entries_of(name);
    try_ports(list.get());
    rows_ = options_of(name);
    if (rows_ == nullptr || is_policy(name))
        return;
    // Their other reports were told.
    is_muted_ = true;
    visit_options(list.get(), [this](const cfgrec &made) {
        is_muted_ = false;
        try_ports_of(&made);
        is_muted_ = true;
    });
    is_muted_ = false;
}
