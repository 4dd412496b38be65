#include "lib/frag/layout/norm41.h"

#include "lib/frag/layout/norm.h"
#include "lib/frag/layout/norm_interfaces.h"
#include "lib/frag/layout/proxy_map.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"

#include <cstdint>
#include <utility>

using namespace flatlink;

int norm41states(frag **head)
{
    frag *proxies = ffind(head, "def_proxy");
    if (proxies == nullptr)
        return 1;
    frag *states = find_or_make(head, "proxy");
    const proxy_map map = determine_os_maprec(head);
    if (map.data() == map_unix.data())
        return 0;
    for (const proxy_map_row &row : map) {
        const frag *state = ffind2(&proxies->child, row.node, "state");
        if (state != nullptr)
            fsetp(&states->child, row.state, state->value == nullptr ? "" : state->value, states);
    }
    return 0;
}

static void reverse_children(frag *node)
{
    frag *rest = take_children(node);
    while (frag *child = pop_front(rest))
        push_child(node, child);
}

static void norm_proxy_parms(frag *proxy)
{
    norm_parm(proxy, "parm", "num_parms", 0);
}

// Puts an unlinked node back at the front; without one, a new node with the owner's name.
static void put_back_or_name(frag *owner, const char *key, frag_ptr taken)
{
    if (taken != nullptr)
        push_child(owner, taken.release());
    else
        fsetp(&owner->child, key, fragname(owner), owner);
}

// Turns config sets into custom proxies that refer to their proxy.
static void move_config_sets(frag *proxy, frag *sets, frag *custom)
{
    frag *rest = take_children(sets);
    while (frag *set = pop_front(rest)) {
        fsetp(&set->child, "realname", fragname(proxy), set);
        push_child(custom, set);
    }
}

static void norm_proxies(frag **head, frag *proxies, frag *custom)
{
    reverse_children(proxies); // lists are built from the front; numbers follow the file
    std::int64_t count = 0;
    for (frag *proxy = proxies->child; proxy != nullptr; proxy = proxy->next) {
        const frag_ptr sets = take_frag(&proxy->child, "config-sets");
        frag_ptr name = take_frag(&proxy->child, "name");
        // Neither of them is a parameter: they are out of the way while the rest become the list.
        norm_proxy_parms(proxy);
        fsetp(&proxy->child, "realname", fragname(proxy), proxy);
        put_back_or_name(proxy, "name", std::move(name));
        if (sets != nullptr)
            move_config_sets(proxy, sets.get(), custom);
        rename_to_number(proxy, ++count);
    }
    set_number(head, "def_num_proxies", count);
}

static void norm_custom_proxies(frag **head, const frag *custom)
{
    std::int64_t count = 0;
    for (frag *entry = custom->child; entry != nullptr; entry = entry->next) {
        frag_ptr realname = take_frag(&entry->child, "realname");
        norm_proxy_parms(entry);
        fsetp(&entry->child, "name", fragname(entry), entry);
        put_back_or_name(entry, "realname", std::move(realname));
        rename_to_number(entry, ++count);
    }
    set_number(head, "cust_num_proxies", count);
}

static void norm_policies(frag *policies)
{
    reverse_children(policies);
    std::int64_t count = 0;
    for (frag *policy = policies->child; policy != nullptr; policy = policy->next) {
        fsetp(&policy->child, "name", fragname(policy), policy);
        rename_to_number(policy, ++count);
        const frag *proxies = find_or_make(&policy->child, "proxy", policy);
        std::int64_t proxy_count = 0;
        for (frag *proxy = proxies->child; proxy != nullptr; proxy = proxy->next) {
            fsetp(&proxy->child, "name", fragname(proxy), proxy);
            rename_to_number(proxy, ++proxy_count);
            drop_frag_value(proxy);
        }
        set_number(&policy->child, "num_proxies", proxy_count, policy);
        fsetp(&policy->child, "parm", nullptr, policy);
        norm_proxy_parms(policy);
    }
    set_number(&policies->child, "num_entries", count, policies);
}

static void norm_objects(frag **head, const char *key, const char *list_key,
                         const char *list_count_key, const char *count_key)
{
    const frag *objects = ffind(head, key);
    if (objects != nullptr)
        set_number(head, count_key, norm_netobj(objects->child, list_key, list_count_key) - 1);
}

int norm41(frag **head)
{
    frag *proxies = ffind(head, "def_proxy");
    frag *policies = ffind(head, "policy");
    frag *custom = find_or_make(head, "cust_proxy");
    if (proxies != nullptr)
        norm_proxies(head, proxies, custom);
    norm_custom_proxies(head, custom); // now it has the config sets, too
    if (policies != nullptr)
        norm_policies(policies);
    norm_interfaces(head);
    norm_objects(head, "netobj_group", "member", "num_members", "netobj_num_group");
    norm_objects(head, "netobj_list", "element", "num_elements", "netobj_num_list");
    del_frag(head, "map_numrules");
    norm_renumber(head, "map", "map_num_entries", "map_num");
    norm_renumber(head, "sroute", "sroute_num_entries", "sroute_num");
    norm_renumber(head, "dest", "dest_num_entries", "dest_num");
    norm_pfrules(head, "pfedit_lcl", "pfedit_lcl_numrules");
    norm_pfrules(head, "pfedit_fwd", "pfedit_fwd_numrules");
    norm_renumber(head, "menu_meta", nullptr, nullptr);
    norm_vpndata(head, "link");
    norm_vpndata(head, "key");
    norm_renumber(head, "nat_rule", "nat_numrules", nullptr);
    return 0;
}
