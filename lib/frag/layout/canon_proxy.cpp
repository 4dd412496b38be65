#include "lib/frag/layout/canon_proxy.h"

#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/origin.h"
#include "lib/ulib/text.h"

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

using namespace flatlink;

// The value of an unlinked node; null if there is no node or no value.
static const char *text_in(const frag_ptr &node)
{
    return node == nullptr ? nullptr : node->value;
}

// Renames a linked node to the value of its child `key`.
static void take_name_from(frag *node, const char *key)
{
    const frag_ptr name = take_frag(&node->child, key);
    if (text_in(name) == nullptr)
        return;
    renamefrag(node, name->value);
    take_origin(node, name.get());
}

// Sets one parameter of a proxy or policy to the text of `value`.
static void set_parm(frag *owner, const char *name, frag_ptr value)
{
    std::string_view rest = attr_remap(name);
    const unsigned flags = take_access_prefixes(rest, ANY_ACCESS);
    const std::string plain(rest);
    const std::size_t split = plain.find('_');
    frag *parm = nullptr;
    if (split == std::string::npos) {
        parm = set_text_of(&owner->child, plain.c_str(), value.get(), owner);
    } else if (is_digit(plain[split + 1])) {
        frag *family = fsetp(&owner->child, plain.substr(0, split).c_str(), nullptr, owner);
        parm = set_text_of(&family->child, plain.c_str() + split + 1, value.get(), family);
    } else { // no family: the node itself moves, with all below it
        rename_unlinked(value.get(), plain.c_str());
        parm = value.release();
        push_child(owner, parm);
    }
    parm->flags = flags; // what the name says of access holds for a node that was there, too
}

static void join_access_and_url(frag *entry)
{
    const char *access = fval(&entry->child, "access");
    const char *url = fval(&entry->child, "url");
    if (access == nullptr || url == nullptr)
        return;
    const std::string joined = std::string(access) + " " + url;
    set_frag_value(entry, joined.data(), joined.size());
    take_origin(entry, ffind(&entry->child, "access"));
    free_fraglist(&entry->child);
}

int canon_parm(frag *node, const char *list, const char *count_key, const char *empty_key)
{
    if (const frag_ptr parms = take_frag(&node->child, list)) {
        for (frag *entry = parms->child; entry != nullptr; entry = entry->next) {
            frag_ptr value = take_frag(&entry->child, "value");
            const frag_ptr name = take_frag(&entry->child, "name");
            if (value != nullptr && text_in(name) != nullptr)
                set_parm(node, name->value, std::move(value));
        }
    }
    del_frag(&node->child, count_key);
    del_frag_if_empty(&node->child, empty_key);

    if (frag *url = ffind(&node->child, "cyberurl")) {
        renamefrag(url, "url");
        for (frag *entry = url->child; entry != nullptr; entry = entry->next)
            join_access_and_url(entry);
    }
    return 0;
}

static void canon_proxy_parms(frag *proxy)
{
    canon_parm(proxy, "parm", "num_parms", "num");
}

int canon_def(frag **head)
{
    frag *proxies = ffind(head, "def_proxy");
    if (proxies == nullptr)
        return 0;
    for (frag *proxy = proxies->child; proxy != nullptr; proxy = proxy->next) {
        take_name_from(proxy, "realname");
        canon_proxy_parms(proxy);
    }
    return 0;
}

static void give_to_owner(frag *proxies, frag *config_set, const char *owner_key)
{
    frag *owner = find_or_make(&proxies->child, owner_key, proxies);
    push_child(find_or_make(&owner->child, "config-sets", owner), config_set);
}

int canon_cust(frag **head)
{
    frag *custom = ffind(head, "cust_proxy");
    if (custom == nullptr || custom->child == nullptr)
        return 0;
    frag *proxies = find_or_make(head, "def_proxy");
    frag *rest = take_children(custom);
    while (frag *entry = pop_front(rest)) {
        const frag_ptr realname = take_frag(&entry->child, "realname");
        const frag_ptr name = take_frag(&entry->child, "name");
        if (text_in(name) != nullptr) {
            rename_unlinked(entry, name->value);
            take_origin(entry, name.get());
        }
        canon_proxy_parms(entry);
        const char *owner = text_in(realname);
        // A set of no proxy becomes one of a proxy of its own name, so that nothing is lost.
        const bool has_owner = owner != nullptr && *owner != '\0';
        give_to_owner(proxies, entry, has_owner ? owner : entry->name);
    }
    return 0;
}

namespace
{

// The proxy that owns a config set, by the stored name of the set.
using set_owners = std::unordered_map<std::string_view, const frag *>;

set_owners owners_of_sets(frag **head)
{
    set_owners owners;
    const frag *proxies = ffind(head, "def_proxy");
    if (proxies == nullptr)
        return owners;
    for (frag *proxy = proxies->child; proxy != nullptr; proxy = proxy->next) {
        const frag *sets = ffind(&proxy->child, "config-sets");
        if (sets == nullptr)
            continue;
        for (const frag *set = sets->child; set != nullptr; set = set->next)
            owners.try_emplace(set->name, proxy); // keeps the first proxy
    }
    return owners;
}

} // namespace

static void canon_policy_proxies(frag *policy, const set_owners &owners)
{
    const frag *proxies = ffind(&policy->child, "proxy");
    if (proxies == nullptr)
        return;
    for (frag *entry = proxies->child; entry != nullptr; entry = entry->next) {
        drop_frag_value(entry); // first, because this drops the origin too
        take_name_from(entry, "name");
        const auto owner = owners.find(entry->name);
        if (owner == owners.end())
            continue;
        const std::string_view name = fragname(owner->second);
        set_frag_value(entry, name.data(), name.size());
    }
}

static void canon_policy_parms(frag *policy)
{
    const frag *parms = ffind(&policy->child, "parm");
    if (parms == nullptr)
        return;
    for (frag *entry = parms->child; entry != nullptr; entry = entry->next) {
        const frag_ptr value = take_frag(&entry->child, "value");
        const frag_ptr name = take_frag(&entry->child, "name");
        if (value == nullptr || text_in(name) == nullptr)
            continue;
        renamefrag(entry, name->value);
        std::swap(entry->value, value->value);
        std::swap(entry->vlen, value->vlen);
        entry->origin = value->origin;
    }
}

int canon_policy(frag **head, const char *key)
{
    frag *list = ffind(head, key);
    if (list == nullptr)
        return 0;
    del_frag(&list->child, "num");
    const set_owners owners = owners_of_sets(head);
    for (frag *policy = list->child; policy != nullptr; policy = policy->next) {
        take_name_from(policy, "name");
        canon_policy_proxies(policy, owners);
        canon_policy_parms(policy);
        del_frag(&policy->child, "num_proxies");
        del_frag(&policy->child, "num_parms");
        del_frag_if_empty(&policy->child, "num");
    }
    return 0;
}
