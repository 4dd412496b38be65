// The steps of the checker that may end the process, as they end a proxy: its start, and the ports
// of each entry that names any.
#include "flatctl/check/check_message.h"
#include "flatctl/check/table_checker.h"
#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/log/log.h"
#include "lib/fwall/match/port.h"
#include "lib/fwall/serve/settings.h"
#include "lib/ulib/fixed_text.h"

#include <algorithm>

using namespace flatlink;

// False for a step that an earlier child took.
bool table_checker::begins_step()
{
    if (++step_ < task_.first_step)
        return false;
    port_.send(frame_kind::RECORD, packed_step(step_));
    return true;
}

namespace
{

// The arguments of an entry that are ports or names of services, also where they are missing.
std::vector<int> ports_of(const cfgrec &entry, const own_keyword *own)
{
    const std::string_view keyword = entry.keyword;
    std::vector<int> found;
    if (keyword == "afw-dest") // without a port it is told
        found.push_back(std::min(entry.argc, 1));
    for (int i = 0; i < entry.argc; ++i)
        if (keyword == "ports" || (own != nullptr && is_service_name(entry, *own, i)))
            found.push_back(i);
    return found;
}

// As a proxy does for a client.
void look_up_port(const cfgrec &entry, int argument)
{
    constexpr int NO_PORT = -1; // so that the destination is not compared
    const std::string_view keyword = entry.keyword;
    const bool is_block = keyword == "afw-dest";
    const cfg_list alone = copy_of(&entry, is_block ? 0 : argument, is_block ? entry.argc : 1);
    const char *mapped = nullptr, *reverse = nullptr;
    if (is_block)
        (void)afwDestBlock("", NO_PORT, alone.get(), &mapped, &reverse);
    else if (keyword == "ports")
        (void)permit_port_chk(NO_PORT, alone.get());
    else
        (void)str_to_port(entry.argv[argument]);
}

} // namespace

void table_checker::try_ports(const std::string &name, const cfgrec *entry)
{
    for (const int argument : ports_of(*entry, asked_.find_own(name, entry->keyword))) {
        const std::string item = argument < entry->argc ? entry->argv[argument] : "";
        if (!tried_.insert({entry->lineno, item}).second || !begins_step())
            continue;
        entry_ = entry;
        look_up_port(*entry, argument);
        entry_ = nullptr;
    }
}

// Reads the settings under a name as its proxy does when it starts, or the runtime before that.
void table_checker::read_settings(const std::string &name)
{
    set_text(proxy_name, name);
    if (is_of_runtime(name)) {
        const cfg_list own = read_entries_of(name);
        cfgrec *const before = std::exchange(proxy_confp, own.get());
        if (own != nullptr)
            (void)Log::CheckLogConfig(own.get());
        proxy_confp = before;
        return;
    }
    if (proxy_load_config() != 0)
        return;
    bool is_faulty = false;
    (void)denial_file(is_faulty);
    (void)Log::CheckLogConfig(proxy_confp);
}

void table_checker::start(const std::string &name)
{
    if (!is_policy(name) && begins_step()) {
        read_settings(name);
        policy_confp = nullptr;
    }
    const cfg_list list = read_entries_of(name);
    for (const cfgrec *entry = list.get(); entry != nullptr; entry = entry->next)
        try_ports(name, entry);
    rows_ = options_of(name);
    if (rows_ == nullptr || is_policy(name))
        return;
    // Their other reports were told.
    is_muted_ = true;
    visit_options(list.get(), [&](const cfgrec &made) {
        is_muted_ = false;
        try_ports(name, &made);
        is_muted_ = true;
    });
    is_muted_ = false;
}
