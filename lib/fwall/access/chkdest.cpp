#include "lib/fwall/access/chkdest.h"

#include "lib/fwall/access/access_watch.h"
#include "lib/fwall/access/dsthost.h"
#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/match/hnam.h"
#include "lib/fwall/match/nama.h"
#include "lib/fwall/match/port.h"
#include "lib/fwall/match/revmap.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/address.h"
#include "lib/ulib/host_length.h"
#include "lib/ulib/name_service.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

#include <cstring>
#include <string>
#include <vector>

using namespace flatlink;

namespace
{

enum class verdict { NONE, ALLOWED, REFUSED };

// A verdict, and the item that decided.
struct decision {
    verdict answer = verdict::NONE;
    const cfgrec *entry = nullptr; // null for none
    int item = 0;                  // index into the entry's arguments
};

// Whether an item fits, and what the watch is told of it.
struct comparison {
    bool fits;
    const char *with = nullptr; // as access_question::with
    access_reason reason = access_reason::COMPARED;
};

// The destination of one check, and what has been looked up for it.
struct destination {
    const char *host;
    int port;
    const char *mapped = nullptr;
    const char *reverse = nullptr;
};

} // namespace

static void tell_asked(const cfgrec *entry, int item, const comparison &found)
{
    if (access_watch != nullptr)
        access_watch->asked({entry, item, found.with, found.fits, found.reason});
}

static void tell_decided(const decision &found)
{
    if (access_watch != nullptr)
        access_watch->decided(found.entry, found.item, found.answer == verdict::ALLOWED);
}

// The verdict of the first item for which `compare` says that it fits, in the entries of a keyword.
template <typename comparer>
static decision first_verdict(const char *keyword, cfgrec *list, comparer compare)
{
    for (const cfgrec *entry = cfg_first(keyword, list); entry != nullptr;
         entry = cfg_next(keyword, entry)) {
        for (int i = 0; i < entry->argc; ++i) {
            const char *item = entry->argv[i];
            const bool negated = item[0] == '!';
            const comparison compared = compare(negated ? item + 1 : item);
            tell_asked(entry, i, compared);
            if (!compared.fits)
                continue;
            // A deny- prefix and a '!' each invert the answer; both together allow.
            const bool denies = (entry->flags & CFG_DENY) != 0;
            const decision found{negated == denies ? verdict::ALLOWED : verdict::REFUSED, entry, i};
            tell_decided(found);
            return found;
        }
    }
    return {};
}

// Unlike hostmatch, ignores a mask and what follows it.
static bool is_address_pattern(const char *pattern)
{
    const char end = pattern[std::strspn(pattern, ".*-0123456789")];
    return end == '\0' || end == ':';
}

static comparison compare_host(const char *pattern, const char *host)
{
    return {hostmatch(pattern, host) != 0, host};
}

static comparison compare_destination(const char *dest, const char **mapped, const char **reverse,
                                      const char *pattern)
{
    if (std::strcmp(pattern, "*") == 0)
        return {true, dest};
    // Like is compared with like; the other form is looked up when a pattern first wants it.
    const bool address_wanted = is_address_pattern(pattern);
    if (holds_address(dest) == address_wanted)
        return compare_host(pattern, dest);
    if (address_wanted) {
        if (*mapped == nullptr)
            *mapped = maphostname(dest);
        return compare_host(pattern, *mapped);
    }
    if (*reverse == nullptr) {
        if (inat_addr(dest) == 1)
            return {false, nullptr, access_reason::NO_LOOK_UP};
        *reverse = revmap(dest);
    }
    return compare_host(pattern, *reverse);
}

int destmatch(const char *dest, const char **mapped, const char **reverse, const char *pattern)
{
    return compare_destination(dest, mapped, reverse, pattern).fits ? 1 : 0;
}

static bool port_fits(const char *item, int port)
{
    return item[0] == '*' || same_word(item, "any") || str_to_port(item) == port;
}

static bool blocks(const cfgrec *entry, const char *host, int port, const char **mapped,
                   const char **reverse)
{
    // A rule that cannot be read blocks everything: access fails closed.
    if (entry->argc < 2) {
        notice(EVENT_BAD_ENTRY, entry->lineno,
               "AFW: destination blocking rule is not generated correctly, line %d", entry->lineno);
        tell_asked(entry, 0, {false, nullptr, access_reason::NO_ARGUMENTS});
        return true;
    }
    const bool same_port = port_fits(entry->argv[1], port);
    tell_asked(entry, 1, {same_port});
    if (!same_port)
        return false;
    const comparison found = compare_destination(host, mapped, reverse, entry->argv[0]);
    tell_asked(entry, 0, found);
    if (found.fits)
        notice(EVENT_DEST_BLOCKED, 0, "AFW: deny destination host %s, port %d, AFW id: %s", host,
               port, entry->argc > 2 ? entry->argv[2] : "");
    return found.fits;
}

int afwDestBlock(const char *host, int port, cfgrec *list, const char **mapped,
                 const char **reverse)
{
    for (const cfgrec *entry = cfg_first("afw-dest", list); entry != nullptr;
         entry = cfg_next("afw-dest", entry)) {
        if (!blocks(entry, host, port, mapped, reverse))
            continue;
        tell_decided({verdict::REFUSED, entry, 0});
        return 1;
    }
    return 0;
}

static verdict host_verdict(destination &dst, cfgrec *list)
{
    if (afwDestBlock(dst.host, dst.port, list, &dst.mapped, &dst.reverse) != 0)
        return verdict::REFUSED;
    const auto compare = [&dst](const char *item) {
        return compare_destination(dst.host, &dst.mapped, &dst.reverse, item);
    };
    return first_verdict("destination", list, compare).answer;
}

int permit_port_chk(int port, cfgrec *list)
{
    if (cfg_first("ports", list) == nullptr)
        return DST_ALLOWED;
    const auto compare = [port](const char *item) { return comparison{port_fits(item, port)}; };
    return first_verdict("ports", list, compare).answer == verdict::ALLOWED ? DST_ALLOWED
                                                                            : DST_REFUSED;
}

int permit_proxy_chk(cfgrec *list)
{
    const auto compare = [](const char *item) {
        return comparison{namatch(item, proxy_name) != 0};
    };
    return first_verdict("proxy", list, compare).answer == verdict::ALLOWED ? DST_ALLOWED
                                                                            : DST_REFUSED;
}

int permit_dst_chk_numeric(const char *host, int port, cfgrec *list)
{
    destination dst{.host = host == nullptr ? "" : host, .port = port};
    if (!holds_address(dst.host))
        dst.mapped = maphostname(dst.host);
    SetDstIPAddress(connContext, dst.mapped == nullptr ? dst.host : dst.mapped);
    SetDstPort(connContext, port);
    return host_verdict(dst, list) == verdict::ALLOWED ? permit_port_chk(port, list) : DST_REFUSED;
}

// Copies the addresses of an answer: a comparison may ask the name service again, which overwrites
// it.
static std::vector<std::string> addresses_of(const hostent &found)
{
    std::vector<std::string> all;
    for (char *const *address = found.h_addr_list; *address != nullptr; ++address) {
        u32 addr_be = 0;
        std::memcpy(&addr_be, *address, sizeof addr_be);
        all.push_back(format_address(addr_be));
    }
    return all;
}

int permit_dst_chk_alpha(const char *host, int port, cfgrec *list)
{
    destination dst{.host = host == nullptr ? "" : host, .port = port};
    const hostent *found = name_service->host_by_name(dst.host);
    if (found == nullptr)
        return DST_NO_ADDRESS;
    if (!h_lengthCorrect(found->h_length, dst.host))
        return DST_REFUSED;
    const std::vector<std::string> addresses = addresses_of(*found);
    if (addresses.empty())
        return DST_NO_ADDRESS;
    bool all_allowed = true;
    for (const std::string &address : addresses) {
        dst.mapped = address.c_str();
        // Each address must be allowed: the proxy may connect to any of them.
        const verdict of_address = host_verdict(dst, list);
        if (of_address == verdict::REFUSED)
            return DST_REFUSED;
        all_allowed = all_allowed && of_address == verdict::ALLOWED;
    }
    return all_allowed ? permit_port_chk(port, list) : DST_REFUSED;
}

int permit_dst_chk(const char *host, int port, cfgrec *list)
{
    const bool numeric = host == nullptr || host[0] == '\0' || (host[0] >= '0' && host[0] <= '9');
    return numeric ? permit_dst_chk_numeric(host, port, list)
                   : permit_dst_chk_alpha(host, port, list);
}
