#include "flatlink/records/post_decode.h"

#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/records/links.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/pools.h"
#include "flatlink/records/record_watch.h"
#include "flatlink/records/records.h"

#include <algorithm>
#include <utility>

using namespace flatlink;

static void purge_unnamed_records()
{
    std::erase_if(links, [](const auto &link) { return link->lname.empty(); });
    std::erase_if(linkinfos, [](const auto &link) {
        if (link->lname.empty())
            note_dropped(left_out::NO_NAME, link.get());
        return link->lname.empty();
    });
    std::erase_if(swkeys, [](const auto &record) { return record->key.empty(); });
    invalidate_link_index();
    invalidate_vpnlink_index();
    invalidate_swkey_index();
}

static void build_host_name()
{
    const int failed = within_memory(nullptr, [](const char *&) {
        ip_myhostname = ip_hostname;
        if (!ip_domainname.empty())
            ip_myhostname.append(1, '.').append(ip_domainname);
        return 0;
    });
    if (failed != 0)
        ip_myhostname.clear();
}

// The default route goes out through the interface on the default router's subnet. Without a
// default router there is no such route, and without such an interface it stays the router.
static void find_default_route()
{
    my_def_route = 0;
    if (my_def_interface.empty())
        return;
    my_def_route = parse_address(my_def_interface);
    const auto found = std::find_if(intf_list.begin(), intf_list.end(), [](const auto &intf) {
        return (my_def_route & intf->netmask) == (intf->addr & intf->netmask);
    });
    if (found != intf_list.end())
        my_def_route = (*found)->addr;
}

int post_decode()
{
    clear_lookups();
    purge_unnamed_records();
    if (std::exchange(autosortold, 0) != 0)
        merge_pair_links();
    if (std::exchange(swipelinks, 0) != 0)
        upgrade_swipe_links();
    build_host_name();
    finish_intfs(); // before the links, whose sort needs the firewall's addresses
    find_default_route();
    finish_linkinfos();
    finish_ikepols();
    finish_ipsecpols();
    finish_mcpools();
    return 0;
}
