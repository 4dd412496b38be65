#include "lib/fwall/access/srcchk.h"

#include "lib/fwall/access/pname.h"
#include "lib/fwall/match/hnam.h"
#include "lib/fwall/match/inet_aton.h"
#include "lib/fwall/match/revmap.h"
#include "lib/fwall/match/src_patterns.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/proxy.h"
#include "lib/kdev/firewall_names.h"
#include "lib/kdev/vpn_device.h"
#include "lib/ulib/address.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/notice.h"

#include <algorithm>
#include <cstring>

namespace
{

// One walk over the `hosts` entries, and what it has asked for so far.
struct src_walk {
    const sockaddr_in *local;
    bool lookup_allowed;
    bool plain_address; // `proxy_riaddr` is the text that the client's address has
    src_client client;
    char host_name[sizeof proxy_rladdr] = {}; // empty: not looked up
    bool identity_asked = false;
    char identity[VPN_IDENTITY_SIZE + 1] = {}; // empty: the firewall knows none
    char display[VPN_DISPLAY_SIZE + 1] = {};
};

} // namespace

// Whether an argument of a `rev_dns` entry lists the address.
static bool is_listed(const char *pattern, const char *address)
{
    return (std::strchr(pattern, '-') != nullptr ? range_hostmatch(pattern, address)
                                                 : hostmatch(pattern, address)) == 1;
}

int inat_addr(const char *address)
{
    for (const cfgrec *entry = cfg_first("rev_dns", proxy_confp); entry != nullptr;
         entry = cfg_next("rev_dns", entry)) {
        if (entry->argc == 0)
            notice(EVENT_BAD_ENTRY, entry->lineno,
                   "vhltcfgerr: rev_dns takes at least one argument, line %d", entry->lineno);
        for (int i = 0; i < entry->argc; ++i)
            if (is_listed(entry->argv[i], address))
                return 1;
    }
    return -1;
}

// The client's name; looked up when it is first needed.
static const char *host_name(src_walk &walk)
{
    if (walk.host_name[0] == '\0')
        set_text(walk.host_name, revmap(proxy_riaddr));
    return walk.host_name;
}

// Whether the firewall knows the client by any identity; asked when it is first needed.
static bool has_identity(src_walk &walk)
{
    if (!walk.identity_asked) {
        walk.identity_asked = true;
        // Without an answer the texts stay empty, and no pattern of this kind is.
        const u32 client_be =
            walk.plain_address ? network_order(walk.client.address) : address_of(proxy_riaddr);
        (void)vfw_vpnclientcheck(client_be, walk.local->sin_addr.s_addr, walk.identity,
                                 walk.display);
        walk.client.has_identity = walk.identity[0] != '\0';
    }
    return walk.client.has_identity;
}

// Whether it is the one of the pattern; if so, `proxy_rladdr` is set.
static bool identity_fits(src_walk &walk, const char *pattern)
{
    if (!has_identity(walk) || std::strcmp(pattern, walk.identity) != 0)
        return false;
    set_text(proxy_rladdr, walk.display);
    return true;
}

static bool is_numeric(const char *pattern)
{
    return pattern[std::strspn(pattern, ".*0123456789:-")] == '\0';
}

static const char *name_to_show(src_walk &walk)
{
    const cfgrec *use_name = cfg_first("use_name_logs", proxy_confp);
    const bool wanted = use_name != nullptr && use_name->argc > 0 && is_on(use_name->argv[0]);
    return wanted && walk.lookup_allowed ? host_name(walk) : "nodnsquery";
}

// Whether the client fits the pattern; if so, `proxy_rladdr` is set.
static bool pattern_fits(src_walk &walk, const char *pattern)
{
    if (pattern[0] == '~')
        return identity_fits(walk, pattern);
    if (is_numeric(pattern)) {
        if (hostmatch(pattern, proxy_riaddr) == 0)
            return false;
    } else if (!walk.lookup_allowed || hostmatch(pattern, host_name(walk)) == 0) {
        return false;
    }
    set_text(proxy_rladdr, name_to_show(walk));
    return true;
}

// Whether the client fits one of an entry's arguments from `from` up to `end`, or to its first
// option.
static bool entry_fits(src_walk &walk, const cfgrec &entry, int from, int end)
{
    if (entry.argc == 0)
        notice(EVENT_BAD_ENTRY, entry.lineno, "cfgerr: hosts takes at least one argument, line %d",
               entry.lineno);
    for (int i = from; i < std::min(end, entry.argc) && entry.argv[i][0] != '-'; ++i)
        if (pattern_fits(walk, entry.argv[i]))
            return true;
    return false;
}

static bool candidate_fits(src_walk &walk, const src_patterns *prepared, int at,
                           const src_candidate &candidate)
{
    switch (candidate.answer) {
    case src_answer::ask:
        return entry_fits(walk, *candidate.entry, candidate.argument, candidate.argument + 1);
    case src_answer::ask_identity:
        // The entry is memory that the walk need not touch for a client without one.
        return has_identity(walk) && identity_fits(walk, candidate.entry->argv[candidate.argument]);
    case src_answer::ask_name:
        if (!walk.lookup_allowed || !src_name_fits(prepared, at, host_name(walk)))
            return false;
        break;
    default:
        break;
    }
    set_text(proxy_rladdr, name_to_show(walk));
    return true;
}

// The entry that fits among those whose patterns were made ready together; null for none.
static cfgrec *prepared_entry(src_walk &walk, const src_patterns *prepared)
{
    int at = 0;
    for (;;) {
        const src_candidate candidate = src_next_candidate(prepared, walk.client, at);
        if (candidate.answer == src_answer::no || candidate_fits(walk, prepared, at, candidate))
            return candidate.entry;
    }
}

// Starts a walk for the client in `proxy_riaddr`.
static src_walk begin_walk(const sockaddr_in *local)
{
    u32 addr_be = 0;
    const bool is_address = scan_address(proxy_riaddr, addr_be);
    return {.local = local,
            .lookup_allowed = inat_addr(proxy_riaddr) != 1,
            .plain_address = is_address && dotted(addr_be) == proxy_riaddr,
            .client = {.address = host_order(addr_be)}};
}

// The first entry from `entry` on that fits the client; null for none.
static cfgrec *fitting_entry(src_walk &walk, cfgrec *entry)
{
    while (entry != nullptr) {
        if (entry->patterns != nullptr && walk.plain_address) {
            if (cfgrec *found = prepared_entry(walk, entry->patterns); found != nullptr)
                return found;
            entry = cfg_next("hosts", entry->run_last == nullptr ? entry : entry->run_last);
        } else {
            if (entry_fits(walk, *entry, 0, entry->argc))
                return entry;
            entry = cfg_next("hosts", entry);
        }
    }
    return nullptr;
}

int permit_src_sub(const sockaddr_in *local)
{
    src_walk walk = begin_walk(local);
    cfgrec *found = fitting_entry(walk, cfg_first("hosts", proxy_confp));
    if (found == nullptr)
        return SRC_NO_RULE;
    permit_confp = found;
    return (found->flags & CFG_DENY) != 0 ? SRC_DENIED : SRC_PERMITTED;
}

int permit_src_chk(int fd)
{
    if (peername(fd, proxy_rladdr, proxy_riaddr, sizeof proxy_riaddr) != 0) {
        notice(EVENT_NO_NAME, 0, "syserr: cannot get peer name");
        return SRC_FAILED;
    }
    sockaddr_in local{};
    socklen_t length = sizeof local;
    if (vfw_getsockname(fd, &local, &length) != 0) {
        notice(EVENT_NO_NAME, 0, "syserr: cannot get own name");
        return SRC_FAILED;
    }
    return permit_src_sub(&local);
}

int permit_src_addr_chk(const sockaddr_in *client, const sockaddr_in *local)
{
    (void)peer_addr_name(client, proxy_rladdr, proxy_riaddr, sizeof proxy_riaddr); // can't fail
    return permit_src_sub(local);
}
