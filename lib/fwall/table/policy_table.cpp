#include "lib/fwall/table/policy_table.h"

#include "lib/fwall/table/config.h"
#include "lib/fwall/table/proxy.h"
#include "lib/fwall/table/table_watch.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/notice.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <unordered_set>

using namespace flatlink;

namespace
{

struct policy_table {
    int count = 0; // -1 after a failed search for names
    char *names[POLICY_SLOTS] = {};
    cfgrec *lists[POLICY_SLOTS] = {};
};

using name_set = std::unordered_set<std::string_view>;

} // namespace

static policy_table table;

void free_cfglist()
{
    for (int i = 0; table.names[i] != nullptr; ++i) {
        std::free(table.names[i]);
        cfg_free(table.lists[i]);
        table.names[i] = nullptr;
        table.lists[i] = nullptr;
    }
    table.count = 0;
}

// The policy name of a `hosts` record, or null after a report.
static const char *policy_of(const cfgrec &hosts)
{
    const int line = hosts.lineno;
    if (hosts.argc == 0) {
        notice(EVENT_BAD_ENTRY, line, "cfgerr: hosts takes at least one argument, line %d", line);
        return nullptr;
    }
    int option = 0;
    while (option < hosts.argc && hosts.argv[option][0] != '-')
        ++option;
    if (option == hosts.argc || std::strcmp(hosts.argv[option], "-policy") != 0) {
        notice(EVENT_BAD_ENTRY, line, "cfgerr: permit-hosts line must have -policy flag, line %d",
               line);
        return nullptr;
    }
    if (option + 1 == hosts.argc) {
        notice(EVENT_BAD_ENTRY, line, "cfgerr: -policy needs an argument, line %d", line);
        return nullptr;
    }
    return hosts.argv[option + 1];
}

// Returns the new count, or -1 after a report.
static int add_name(char **names, int count, name_set &seen, const char *name)
{
    if (seen.contains(name))
        return count;
    if (count == POLICIES_MAX) {
        notice(EVENT_BAD_ENTRY, 0, "cfgerr: Too many policies!");
        return -1;
    }
    names[count] = strdup(name);
    if (names[count] == nullptr)
        throw std::bad_alloc();
    names[count + 1] = nullptr;
    seen.insert(names[count]);
    return count + 1;
}

int cfg_findPolicyNames(char **names)
try {
    name_set seen;
    int count = 0;
    names[0] = nullptr;
    for (cfgrec *hosts = proxy_confp == nullptr ? nullptr : cfg_get("hosts", proxy_confp);
         hosts != nullptr && count >= 0; hosts = cfg_get("hosts", nullptr)) {
        if (const char *name = policy_of(*hosts); name != nullptr)
            count = add_name(names, count, seen, name);
    }
    return count;
} catch (const std::bad_alloc &) {
    notice(EVENT_NO_MEMORY, 0, "vhltsyserr: malloc: %s", std::strerror(ENOMEM));
    return -1;
}

void flatlink::name_policy(std::string_view name)
{
    constexpr std::string_view PREFIX = "policy-";
    constexpr std::size_t NAME_PART = 50;
    static_assert(sizeof policy_name > PREFIX.size() + NAME_PART);
    if (table_watch != nullptr && name.size() > NAME_PART)
        table_watch->value(value_fault::NAME_CUT, name.data());
    set_text(policy_name, PREFIX);
    name.copy(policy_name + PREFIX.size(), NAME_PART);
}

int cfg_bldCFGlist()
{
    free_cfglist();
    table.count = cfg_findPolicyNames(table.names);
    for (int i = 0; i < table.count; ++i) {
        name_policy(table.names[i]);
        cfgrec *list = cfg_read(policy_name);
        if (!cfg_has(list)) {
            notice(EVENT_NO_ENTRY, 0, "cfgerr: could not find Policy : %s.", table.names[i]);
            return -1;
        }
        table.lists[i] = list;
    }
    return table.count;
}

cfgrec *cfg_find(const char *name)
{
    for (int i = 0; name != nullptr && i < table.count; ++i)
        if (std::strcmp(table.names[i], name) == 0)
            return cfg_copy(table.lists[i]);
    return nullptr;
}
