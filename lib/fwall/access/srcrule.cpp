#include "lib/fwall/access/srcrule.h"

#include "lib/fwall/access/say.h"
#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/table/cfgrec.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

using namespace flatlink;

// Limit of what a denied client is sent of the denial-msg file.
static constexpr std::size_t DENIAL_MAX_BYTES = 65536;

namespace
{

// The client that is told of a denial; fd -1 when a check has no connection.
struct listener {
    int fd = -1;
    bool say = false;
};

} // namespace

static const char *first_argument(const char *keyword, cfgrec *list, const char *without)
{
    const cfgrec *entry = cfg_first(keyword, list);
    return entry == nullptr || entry->argc == 0 ? without : entry->argv[0];
}

void rule_src_record(int code, cfgrec *list)
{
    cfgrec *known = code == SRC_NO_RULE || code == SRC_FAILED ? nullptr : list;
    SetRule(connContext, first_argument("ruleNumber", known, "N/A"),
            first_argument("ruleName", known, ""),
            lenient_number(first_argument("logLevel", known, "-1")));
}

static void say_standard_denial(int fd)
{
    char text[1024]; // a longer line is cut
    const int length =
        std::snprintf(text, sizeof text, "%s/%s is not authorized to use the %s proxy",
                      proxy_rladdr, proxy_riaddr, proxy_name);
    if (length > 0)
        (void)fwall_say(fd, text); // the client may be gone; it is refused all the same
}

const char *flatlink::denial_file(bool &is_faulty)
{
    const cfgrec *entry = cfg_first("denial-msg", proxy_confp);
    is_faulty = entry != nullptr && entry->argc != 1;
    if (is_faulty)
        notice(EVENT_BAD_ENTRY, entry->lineno,
               "cfgerr: denial-msg must have one parameter, line %d", entry->lineno);
    return entry == nullptr || is_faulty ? nullptr : entry->argv[0];
}

static void say_denial(int fd)
{
    bool is_faulty = false;
    const char *path = denial_file(is_faulty);
    if (path == nullptr && !is_faulty)
        say_standard_denial(fd);
    else if (path != nullptr && fwall_saypart(fd, path, DENIAL_MAX_BYTES) != 0)
        notice(EVENT_DENIAL_FILE, 0, "syserr: cannot display denial-msg %s: %s", path,
               std::strerror(errno));
}

// Acts on the answer of a permit_ call. Everything but SRC_PERMITTED is refused.
static int rule_src_apply(int code, listener client, const policy_option *options, const char *user)
{
    if (get_policy(permit_confp, options) != 0)
        return 0;
    rule_src_record(code, policy_confp);
    SetUser(connContext, user);
    switch (code) {
    case SRC_PERMITTED:
        return 1;
    case SRC_NO_RULE:
        notice(EVENT_HOST_DENIED, 0, "deny host=%s/%s no rule assigned to use of %s proxy.",
               proxy_rladdr, proxy_riaddr, proxy_name);
        return 0;
    case SRC_DENIED:
        notice(EVENT_HOST_DENIED, 0, "deny host=%s/%s use of proxy", proxy_rladdr, proxy_riaddr);
        if (client.say)
            say_denial(client.fd);
        return 0;
    default:
        return 0;
    }
}

int rule_src_chk(int fd, const policy_option *options, const char *user, bool say)
{
    return rule_src_apply(permit_src_chk(fd), {fd, say}, options, user);
}

int rule_src_addr_chk(const sockaddr_in *client, const sockaddr_in *local,
                      const policy_option *options, const char *user)
{
    return rule_src_apply(permit_src_addr_chk(client, local), {}, options, user);
}

int rule_src_sub(const sockaddr_in *local, const policy_option *options, const char *user)
{
    return rule_src_apply(permit_src_sub(local), {}, options, user);
}
