#include "lib/fwall/serve/settings.h"

#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/match/src_patterns.h"
#include "lib/fwall/serve/mapg.h"
#include "lib/fwall/serve/mapu.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/proxy.h"
#include "lib/fwall/table/table_watch.h"
#include "lib/ulib/address.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

#include <cstdlib>
#include <unistd.h>

using namespace flatlink;

namespace
{

// An entry has at least one argument when `apply` sees it.
struct keyword_row {
    const char *keyword;
    const char *needs; // the report of a wrong number of arguments
    bool more_allowed; // arguments after the first
    void (*apply)(const cfgrec &entry);
};

} // namespace

static void set_group(const cfgrec &entry)
{
    proxy_rungid = mapgid(entry.argv[0]);
    if (proxy_rungid != -1)
        return;
    notice(EVENT_BAD_ENTRY, entry.lineno, "cfgerr: cannot map %s to gid", entry.argv[0]);
    std::exit(1);
}

static void set_user(const cfgrec &entry)
{
    proxy_runuid = mapuid(entry.argv[0]);
    if (proxy_runuid != -1)
        return;
    notice(EVENT_BAD_ENTRY, entry.lineno, "cfgerr: cannot map %s to uid", entry.argv[0]);
    std::exit(1);
}

template <auto &field> static void set_path(const cfgrec &entry)
{
    set_text(field, entry.argv[0]);
}

static bool is_whole_number(std::string_view text)
{
    if (text.starts_with('-') || text.starts_with('+'))
        text.remove_prefix(1);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

static void tell_unless_number(std::int32_t number, const char *text)
{
    if (!is_whole_number(text))
        table_watch->value(value_fault::WANTS_NUMBER, text);
    else if (std::strtoll(text, nullptr, 10) != number)
        table_watch->value(value_fault::OUT_OF_RANGE, text);
}

template <std::int32_t &number> static void set_number(const cfgrec &entry)
{
    number = lenient_number(entry.argv[0]);
    if (table_watch != nullptr)
        tell_unless_number(number, entry.argv[0]);
}

static void set_bind_address(const cfgrec &entry)
{
    proxy_bind.sin_addr.s_addr = parse_address(entry.argv[0]); // none: the bind will fail
    if (table_watch != nullptr && proxy_bind.sin_addr.s_addr == NOT_AN_ADDRESS)
        table_watch->value(value_fault::WANTS_ADDRESS, entry.argv[0]);
    if (table_watch != nullptr && entry.argc > 1)
        table_watch->value(value_fault::NOT_READ, entry.argv[1]);
}

// Rows are checked for faults in this order.
static constexpr keyword_row keywords[] = {
    {"directory", "requires a pathname", false, set_path<proxy_directory>},
    {"tmp-directory", "requires a pathname", false, set_path<proxy_tmpdirectory>},
    {"groupid", "must have one parameter", false, set_group},
    {"userid", "must have one parameter", false, set_user},
    {"timeout", "needs an argument", false, set_number<proxy_timeout>},
    {"child-limit", "needs an argument", false, set_number<proxy_child_limit>},
    {"accept-count", "needs an argument", false, set_number<proxy_accept_count>},
    {"bind-address", "needs an argument", true, set_bind_address},
    {"address-limit", "needs an argument", false, set_number<proxy_address_limit>},
    {"rate-limit", "needs an argument", false, set_number<proxy_rate_limit>},
    {"stop-timeout", "needs an argument", false, set_number<proxy_stop_timeout>},
};

static void apply_keyword(const keyword_row &row)
{
    const cfgrec *entry = cfg_first(row.keyword, proxy_confp);
    if (entry == nullptr)
        return;
    for (const cfgrec *later = table_watch == nullptr ? nullptr : cfg_next(row.keyword, entry);
         later != nullptr; later = cfg_next(row.keyword, later))
        table_watch->overridden(*entry, *later);
    if (entry->argc == 1 || (entry->argc > 1 && row.more_allowed)) {
        row.apply(*entry);
        return;
    }
    notice(EVENT_BAD_ENTRY, entry->lineno, "cfgerr: %s %s, line %d", row.keyword, row.needs,
           entry->lineno);
    std::exit(1);
}

int proxy_load_config()
{
    cfgrec *list = cfg_read(proxy_name);
    if (!cfg_has(list)) {
        notice(EVENT_NO_ENTRY, 0, "cfgerr: failed to get config entries for %s", proxy_name);
        return 1;
    }
    cfg_free(proxy_confp);
    permit_confp = nullptr; // it was one of the freed entries
    cfg_index_keywords(list);
    compile_host_patterns(list);
    proxy_confp = list;
    SetProxyConfList(servContext, proxy_confp);
    policy_confp = proxy_confp;
    set_text(proxy_tmpdirectory, PROXY_TMPDIRECTORY);
    for (const keyword_row &row : keywords)
        apply_keyword(row);
    (void)gethostname(proxy_hostname, sizeof proxy_hostname - 1); // an old name is better than none
    return 0;
}
