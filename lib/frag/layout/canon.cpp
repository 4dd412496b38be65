#include "lib/frag/layout/canon.h"

#include "lib/frag/layout/canon_proxy.h"
#include "lib/frag/layout/layout_tables.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/frag_text.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/origin.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

using namespace flatlink;

int canon_netobj(frag **head, const char *key)
{
    const frag *list = ffind(head, key);
    if (list == nullptr)
        return 0;
    for (frag *object = list->child; object != nullptr; object = object->next) {
        const frag_ptr name = take_frag(&object->child, "name");
        if (name != nullptr && name->value != nullptr) {
            renamefrag(object, name->value);
            take_origin(object, name.get());
        }
        del_frag(&object->child, "num_elements");
        del_frag(&object->child, "num_members");
        del_frag_if_empty(&object->child, "num");
    }
    return 0;
}

// The interfaces of a list's entries that are not aliases.
static std::vector<std::string> own_interfaces(const frag *element)
{
    std::vector<std::string> interfaces;
    for (frag *entry = element->child; entry != nullptr; entry = entry->next) {
        const char *interface = fval(&entry->child, "interface");
        if (interface == nullptr || *interface == '\0')
            continue;
        if (!frag_istrue(fval(&entry->child, "alias")))
            interfaces.emplace_back(interface);
    }
    return interfaces;
}

static bool is_or_holds(const frag *node, const frag *inner)
{
    while (inner != nullptr && inner != node)
        inner = inner->parent;
    return inner == node;
}

// Limit of list members that are walked to take lists out. Normally each interface's list holds
// only its own aliases; names with a '=' may all lead into one long list, which is walked each
// time.
static constexpr std::int64_t FOLDED_LIST_MEMBERS = 20'000'000;

// Moves the aliases of one interface from the object lists into `element`, numbered from
// `number` on. Returns false, with nothing moved, when `room`, in list members, is used up. `lists`
// is null in a tree without object lists.
static bool fold_aliases(frag *lists, frag *element, const std::string &interface,
                         std::int64_t &number, std::int64_t &room)
{
    const std::string key = interface + "_INTERFACE";
    const frag *found = lists == nullptr ? nullptr : ffind(&lists->child, key.c_str());
    // A '=' in an interface's name ends the key early, possibly at the list being filled.
    if (found == nullptr || is_or_holds(found, element))
        return true;
    room -= count_list(found->parent == nullptr ? lists->child : found->parent->child);
    if (room < 0)
        return false;
    const frag_ptr list = take_frag(&lists->child, key.c_str());
    const frag *aliases = ffind(&list->child, "element");
    if (aliases == nullptr)
        return true;
    for (frag *alias = aliases->child; alias != nullptr; alias = alias->next) {
        frag *entry = newsymfrag(std::to_string(number++));
        entry->child = copy_fragtree(&alias->child, entry);
        fsetp(&entry->child, "alias", "yes", entry);
        push_child(element, entry);
    }
    return true;
}

int canon_if(frag **head, const char *key)
{
    frag *list = find_or_make(head, key);
    frag *element = find_or_make(&list->child, "element", list);
    frag *lists = ffind(head, "netobj_list");
    std::int64_t number = count_list(element->child) + 1;
    std::int64_t room = FOLDED_LIST_MEMBERS;
    for (const std::string &interface : own_interfaces(element)) {
        if (!fold_aliases(lists, element, interface, number, room)) {
            notice(EVENT_BAD_ENTRY, 0,
                   "interface %.64s: too many aliases, the rest left as they are",
                   interface.c_str());
            note_bound("members of the lists that aliases are taken from", FOLDED_LIST_MEMBERS,
                       interface, FOLDED_LIST_MEMBERS - room);
            break;
        }
    }
    sort_frags(&element->child);
    return 0;
}

int canon_interfaces(frag **head)
{
    for (const char *key : {"netobj_list_Inside", "netobj_list_Outside", "netobj_list_Service"})
        canon_if(head, key);
    return 0;
}

// Splits a rule's packed fields into named children.
static void unpack_rule(frag *rule, std::string_view packed)
{
    for (const char *key : pfkeynames) {
        const std::size_t end = packed.find('+');
        const std::string field(packed.substr(0, end));
        if (!field.empty())
            fsetp(&rule->child, key, field.c_str(), rule)->origin = rule->origin;
        if (end == std::string_view::npos)
            return;
        packed.remove_prefix(end + 1);
    }
}

int canon_pfrule_sub(frag **head, const char *key)
{
    frag *list = ffind(head, key);
    if (list == nullptr)
        return 0;
    del_frag(&list->child, "numrules");
    frag *rest = take_children(list);
    while (frag *rule = pop_front(rest)) {
        std::string_view name = rule->name;
        const int number = take_prefix(name, "rule") ? lenient_number(name) : 0;
        if (number >= 1) // while it is in no list: no index has to follow
            rename_unlinked(rule, std::to_string(number).c_str());
        if (rule->value == nullptr) {
            freefrag(rule);
            continue;
        }
        push_child(list, rule);
        unpack_rule(rule, rule->value);
        drop_frag_value(rule);
    }
    sort_frags(&list->child);
    return 0;
}

int canon_pfrules(frag **head)
{
    canon_pfrule_sub(head, "pfedit_lcl");
    canon_pfrule_sub(head, "pfedit_fwd");
    return 0;
}

// The entry of an interface list with this address. If there is none, a new entry for a real
// address and null for a placeholder.
static frag *entry_with_address(frag *list, const char *address)
{
    std::int64_t number = 1;
    for (frag *entry = list->child; entry != nullptr; entry = entry->next, ++number) {
        const char *known = fval(&entry->child, "addr");
        if (known != nullptr && std::strcmp(known, address) == 0)
            return entry;
    }
    for (const char *unset : {"", NO_ADDRESS_TEXT, UNSET_ADDRESS})
        if (std::strcmp(address, unset) == 0)
            return nullptr;
    return add_child(list, std::to_string(number));
}

static void canon_ip_side(frag **head, frag *ip, const ip_var_row &row)
{
    const frag_ptr address = take_frag(&ip->child, row.address);
    const frag_ptr mask = take_frag(&ip->child, row.mask); // goes even without an address
    if (address == nullptr || address->value == nullptr)
        return;
    const frag_ptr interface = take_frag(&ip->child, row.interface);
    const frag_ptr interface_flags = take_frag(&ip->child, row.interface_flags);
    const frag_ptr broadcast = take_frag(&ip->child, row.broadcast);

    frag *entry = entry_with_address(find_or_make(head, row.list_key), address->value);
    if (entry == nullptr)
        return;
    const struct {
        const char *key;
        const frag *from;
    } parts[] = {
        {"addr", address.get()},        {"netmask", mask.get()},
        {"interface", interface.get()}, {"interfaceflags", interface_flags.get()},
        {"broadcast", broadcast.get()},
    };
    for (const auto &[key, from] : parts)
        if (from != nullptr && from->value != nullptr)
            fset_list(&entry, key, from->value)->origin = from->origin;
}

int canon_ip(frag **head)
{
    frag *ip = ffind(head, "ip");
    if (ip == nullptr)
        return 0;
    for (const ip_var_row &row : ip_var_tab)
        canon_ip_side(head, ip, row);
    return 0;
}

static void canon_global_proxy(frag **head)
{
    frag *star = ffind(head, "def_proxy_*");
    if (star == nullptr)
        return;
    del_frag(head, "def_proxy_global");
    renamefrag(star, "global");
    fset(head, "def_proxy_global_name", "global");
}

static bool take_counter(frag **head, const char *key)
{
    return take_frag(head, key) != nullptr;
}

int norm_fragtree(frag **head)
{
    const steady_lists steady;
    if (take_counter(head, "def_num_proxies")) {
        canon_def(head);
        if (take_counter(head, "cust_num_proxies"))
            canon_cust(head);
    }
    canon_netobj(head, "netobj_list");
    canon_netobj(head, "netobj_group");
    canon_interfaces(head);
    del_frag(head, "netobj_num_list");
    del_frag(head, "netobj_num_group");
    del_frag_if_empty(head, "netobj_num");
    canon_policy(head, "policy"); // looks into the config sets that canon_cust made
    canon_ip(head);
    for (const char *counter : {"map_num", "sroute_num", "dest_num"})
        del_frag(head, counter);
    canon_pfrules(head);
    canon_global_proxy(head);
    return 0;
}
