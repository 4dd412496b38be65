#include "lib/fwall/access/srcchk.h"

#include "lib/fwall/access/access_watch.h"
#include "lib/fwall/access/pname.h"
#include "lib/fwall/match/hnam.h"
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

#include <cstring>
#include <optional>

using namespace flatlink;

namespace
{

// One walk over the `hosts` entries, and what it has looked up so far.
struct src_walk {
    const sockaddr_in *local;
    host_client address{proxy_riaddr}; // as its text
    src_client client{address.address};
    std::optional<host_client> name = {};     // empty: not looked up
    char host_name[sizeof proxy_rladdr] = {}; // as the name service tells it
    bool identity_asked = false;
    char identity[VPN_IDENTITY_SIZE + 1] = {}; // empty: the firewall knows none
    char display[VPN_DISPLAY_SIZE + 1] = {};
};

// The entry that decides, and the index of the argument that fits.
struct src_match {
    cfgrec *entry = nullptr; // null: none fits
    int argument = 0;
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

// The client's name, looked up once, on first use.
static const host_client &name_of(src_walk &walk)
{
    if (!walk.name) {
        set_text(walk.host_name, revmap(proxy_riaddr));
        walk.name.emplace(walk.host_name);
        walk.client.know_name(walk.name->name());
    }
    return *walk.name;
}

// Whether the firewall knows an identity of the client. Asks once, on first use.
static bool has_identity(src_walk &walk)
{
    if (!walk.identity_asked) {
        walk.identity_asked = true;
        const host_address &client = walk.address.address;
        const u32 client_be =
            client.is_dotted ? network_order(client.number) : parse_address(proxy_riaddr);
        // On failure the texts stay empty, and a pattern of identities never is: none fits.
        (void)vfw_vpnclientcheck(client_be, walk.local->sin_addr.s_addr, walk.identity,
                                 walk.display);
        if (walk.identity[0] == '\0')
            walk.client.keys[src_client::IDENTITY_KEY] = 0;
    }
    return walk.identity[0] != '\0';
}

static const char *name_to_show(src_walk &walk)
{
    const cfgrec *use_name = cfg_first("use_name_logs", proxy_confp);
    if (use_name == nullptr || use_name->argc == 0 || !is_on(use_name->argv[0]) ||
        !walk.client.lookup_allowed)
        return "nodnsquery";
    (void)name_of(walk);
    return walk.host_name;
}

// The text to compare the pattern with; null when there is none and the pattern can't fit.
static const char *compared_text(src_walk &walk, const src_pattern &pattern)
{
    if (pattern.kind == src_kind::IDENTITY)
        return has_identity(walk) ? walk.identity : nullptr;
    if (!pattern.host.wants_name)
        return proxy_riaddr;
    return walk.client.lookup_allowed ? name_of(walk).text : nullptr;
}

// Whether the client fits the pattern, whose text is `argument`; if so, `proxy_rladdr` is set.
static bool pattern_fits(src_walk &walk, const src_pattern &pattern, const char *argument)
{
    if (compared_text(walk, pattern) == nullptr)
        return false;
    if (pattern.kind == src_kind::IDENTITY) {
        if (std::strcmp(argument, walk.identity) != 0)
            return false;
        set_text(proxy_rladdr, walk.display);
        return true;
    }
    if (!pattern.host.fits(pattern.host.wants_name ? name_of(walk) : walk.address))
        return false;
    set_text(proxy_rladdr, name_to_show(walk));
    return true;
}

static void report_no_arguments(const cfgrec &entry)
{
    notice(EVENT_BAD_ENTRY, entry.lineno, "cfgerr: hosts takes at least one argument, line %d",
           entry.lineno);
    if (access_watch != nullptr)
        access_watch->asked({&entry, 0, nullptr, false, access_reason::NO_ARGUMENTS});
}

static void tell_watch(src_walk &walk, const src_pattern &pattern, bool fits)
{
    const char *with = compared_text(walk, pattern);
    const bool is_identity = pattern.kind == src_kind::IDENTITY;
    const access_reason reason = with != nullptr ? access_reason::COMPARED
                                 : is_identity   ? access_reason::NOT_KNOWN
                                                 : access_reason::NO_LOOK_UP;
    access_watch->asked({pattern.entry, pattern.argument, with, fits, reason});
}

// The first match among an entry's arguments, up to its first option.
static src_match match_in_entry(src_walk &walk, cfgrec *entry)
{
    if (entry->argc == 0)
        report_no_arguments(*entry);
    for (int i = 0; i < entry->argc && entry->argv[i][0] != '-'; ++i) {
        char room[HOST_TEXT_MAX + 1];
        src_pattern pattern = compile_src_pattern(entry->argv[i], room);
        pattern.entry = entry;
        pattern.argument = i;
        const bool fits = pattern_fits(walk, pattern, entry->argv[i]);
        if (access_watch != nullptr)
            tell_watch(walk, pattern, fits);
        if (fits)
            return {entry, i};
    }
    return {};
}

// The first match among the entries whose patterns were prepared together.
static src_match match_in_prepared(src_walk &walk, src_patterns *prepared)
{
    int at = 0;
    while (const src_pattern *pattern = next_candidate(prepared, walk.client, at)) {
        if (pattern->kind == src_kind::NO_ARGUMENT)
            report_no_arguments(*pattern->entry);
        else if (pattern_fits(walk, *pattern, pattern->entry->argv[pattern->argument]))
            return {pattern->entry, pattern->argument};
    }
    return {};
}

// The first match from `entry` on.
static src_match first_match(src_walk &walk, cfgrec *entry)
{
    while (entry != nullptr) {
        // A watch is told of each item, and the prepared patterns skip items that can't fit.
        const bool is_prepared = entry->patterns != nullptr && access_watch == nullptr;
        const src_match found =
            is_prepared ? match_in_prepared(walk, entry->patterns) : match_in_entry(walk, entry);
        if (found.entry != nullptr)
            return found;
        entry = cfg_next("hosts", is_prepared ? last_prepared(entry->patterns) : entry);
    }
    return {};
}

static int permit_src_walk(const sockaddr_in *local)
{
    src_walk walk{.local = local};
    walk.client.lookup_allowed = inat_addr(proxy_riaddr) != 1;
    const src_match found = first_match(walk, cfg_first("hosts", proxy_confp));
    if (found.entry == nullptr)
        return SRC_NO_RULE;
    const bool denies = (found.entry->flags & CFG_DENY) != 0;
    if (access_watch != nullptr)
        access_watch->decided(found.entry, found.argument, !denies);
    permit_confp = found.entry;
    return denies ? SRC_DENIED : SRC_PERMITTED;
}

int permit_src_sub(const sockaddr_in *local)
{
    return permit_src_walk(local);
}

int permit_src_chk(int fd)
{
    sockaddr_in local{};
    if (endnames(fd, proxy_rladdr, proxy_riaddr, sizeof proxy_riaddr, &local) != 0) {
        notice(EVENT_NO_NAME, 0, "syserr: cannot get peer name");
        return SRC_FAILED;
    }
    return permit_src_walk(&local);
}

int permit_src_addr_chk(const sockaddr_in *client, const sockaddr_in *local)
{
    (void)peer_addr_name(client, proxy_rladdr, proxy_riaddr, sizeof proxy_riaddr); // can't fail
    return permit_src_walk(local);
}
