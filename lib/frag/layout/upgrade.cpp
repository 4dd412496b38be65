#include "lib/frag/layout/upgrade.h"

#include "lib/frag/layout/proxy_map.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/name_index.h"
#include "lib/frag/tree/origin.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

using namespace flatlink;

static constexpr const char *PLUG_TYPE = "plug-relay";

// Limit of the memory for all copies of the plug relay's settings. Each config set gets a copy, so
// a small file with many of both could fill any host. Real relays have hundreds of sets with tens
// of settings, a thousandth of this.
static constexpr std::int64_t PLUG_COPIES_BYTES = std::int64_t{256} << 20;

static bool has_text(frag *node, const char *key, const char *text)
{
    const char *value = fval(&node->child, key);
    return value != nullptr && std::strcmp(value, text) == 0;
}

// The number of the entry that holds the address, or the next after the highest number.
static std::int64_t number_for_address(const frag *list, const char *address)
{
    std::int64_t highest = 0;
    for (frag *entry = list->child; entry != nullptr; entry = entry->next) {
        const std::int64_t number = lenient_number(entry->name);
        if (has_text(entry, "addr", address))
            return number;
        highest = std::max(highest, number);
    }
    return highest + 1;
}

static void move_client_address(frag **head)
{
    const char *address = fval(head, "gui_client");
    if (address == nullptr || *address == '\0' || ffind(head, "netobj_group_fw-admin") == nullptr)
        return;
    const frag_ptr client = take_frag(head, "gui_client");
    frag *list = find_or_make(head, "netobj_list_fw-admin$LIST_element");
    const std::string number = std::to_string(number_for_address(list, client->value));
    frag *entry = fset_list(&list, number.c_str(), nullptr);
    fset_list(&entry, "name", "gui_client");
    fset_list(&entry, "addr", client->value)->origin = client->origin;
}

// A `port`, which may lack a value, becomes the proxy's `bind-port`, which never does.
static void set_bind_port(frag *proxy, const frag *port)
{
    frag *bind_port = set_text_of(&proxy->child, "bind-port", port, proxy);
    if (bind_port->value == nullptr)
        set_frag_value(bind_port, "", 0);
}

// Makes a proxy of one config set of the plug relay, with a copy of the relay's settings.
static void make_plug_proxy(frag *proxies, frag *plug, frag *config_set)
{
    frag *proxy = fsetp(&proxies->child, fragname(config_set), nullptr, proxies);
    free_fraglist(&proxy->child); // of a proxy that had the set's name already
    give_children(proxy, copy_fragtree(&plug->child, proxy));
    frag *sets = fsetp(&proxy->child, "config-sets", nullptr, proxy);
    fsetp(&proxy->child, "proxy-type", PLUG_TYPE, proxy);
    if (const frag_ptr port = take_frag(&config_set->child, "port"))
        set_bind_port(proxy, port.get());
    push_child(sets, config_set);
}

// Leaves the config sets that exceed the limit with the relay, unchanged.
static void keep_plug_relay(frag *proxies, frag_ptr plug, frag_ptr sets, frag *rest)
{
    notice(EVENT_BAD_ENTRY, 0, "%s: too many config-sets for its settings, %lld left as they are",
           PLUG_TYPE, static_cast<long long>(count_list(rest)));
    give_children(sets.get(), rest);
    push_child(plug.get(), sets.release());
    push_child(proxies, plug.release());
}

static void split_plug_relay(frag **head, frag *proxies)
{
    frag_ptr plug = take_frag(head, "def_proxy_plug-relay");
    if (plug == nullptr)
        return;
    frag_ptr sets = take_frag(&plug->child, "config-sets");
    if (sets == nullptr)
        return;
    frag *rest = take_children(sets.get());
    const std::int64_t bytes_each = bytes_of_list(plug->child);
    std::int64_t room = PLUG_COPIES_BYTES;
    for (; rest != nullptr && room >= bytes_each; room -= bytes_each)
        make_plug_proxy(proxies, plug.get(), pop_front(rest));
    if (rest != nullptr)
        keep_plug_relay(proxies, std::move(plug), std::move(sets), rest);
}

// Moves the states that are in the map into the proxies; the others stay, in reverse order.
static void move_states(frag *states, frag *proxies, proxy_map map)
{
    frag *rest = take_children(states);
    while (frag *entry = pop_front(rest)) {
        const proxy_map_row *row = find_row(map, &proxy_map_row::state, fragname(entry));
        if (row == nullptr) {
            push_child(states, entry);
            continue;
        }
        if (frag *proxy = ffind(&proxies->child, row->node))
            set_text_of(&proxy->child, "state", entry, proxy);
        freefrag(entry);
    }
}

static void set_type_and_port(frag *proxy, proxy_map map)
{
    const proxy_map_row *row = find_row(map, &proxy_map_row::node, fragname(proxy));
    if (row == nullptr)
        return;
    if (ffind(&proxy->child, "bind-port") == nullptr)
        fsetp(&proxy->child, "bind-port", row->port, proxy);
    fsetp(&proxy->child, "proxy-type", row->type, proxy);
}

static void set_program(frag *proxy, proxy_map map)
{
    const char *type = fval(&proxy->child, "proxy-type");
    if (type == nullptr || ffind(&proxy->child, "proxy-exec") != nullptr)
        return;
    if (const proxy_map_row *row = find_row(map, &proxy_map_row::type, type))
        fsetp(&proxy->child, "proxy-exec", row->program, proxy);
}

// A `port` of the owner, the proxy itself or one of its config sets, becomes its `bind-port`.
static void take_port(frag *proxy, frag *owner)
{
    if (const frag_ptr port = take_frag(&owner->child, "port"))
        set_bind_port(proxy, port.get());
}

static void move_plug_settings(frag *proxy)
{
    if (!has_text(proxy, "proxy-type", PLUG_TYPE))
        return;
    take_port(proxy, proxy);
    const frag *sets = ffind(&proxy->child, "config-sets");
    if (sets == nullptr)
        return;
    for (frag *set = sets->child; set != nullptr; set = set->next) {
        take_port(proxy, set);
        del_frag(&set->child, "host");
    }
}

int up41(frag **head)
{
    const steady_lists steady;
    move_client_address(head);
    frag *proxies = ffind(head, "def_proxy");
    if (proxies == nullptr)
        return 1;
    split_plug_relay(head, proxies);
    frag *states = ffind(head, "proxy");
    if (states == nullptr)
        return 0;
    const proxy_map map = determine_os_maprec(head);
    move_states(states, proxies, map);
    for (frag *proxy = proxies->child; proxy != nullptr; proxy = proxy->next)
        set_type_and_port(proxy, map);
    for (frag *proxy = proxies->child; proxy != nullptr; proxy = proxy->next) {
        set_program(proxy, map);
        move_plug_settings(proxy);
    }
    return 0;
}
