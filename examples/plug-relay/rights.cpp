#include "rights.h"

#include "lib/fwall/table/proxy.h"
#include "lib/ulib/notice.h"

#include <cerrno>
#include <cstring>
#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace flatlink;

// `result` is that of a system call: 0, or -1 with errno.
static bool is_done(const char *what, long result)
{
    if (result != 0)
        notice(EVENT_SYSTEM, 0, "syserr: cannot give up %s: %s", what, std::strerror(errno));
    return result == 0;
}

// The group to run as, -1 after a report.
static std::int32_t group_of_user()
{
    const passwd *account = getpwuid(static_cast<uid_t>(proxy_runuid));
    if (account != nullptr)
        return static_cast<std::int32_t>(account->pw_gid);
    notice(EVENT_BAD_ENTRY, 0, "cfgerr: userid %d has no account, groupid is needed", proxy_runuid);
    return -1;
}

static bool has_identity(uid_t user, gid_t group)
{
    uid_t users[3];
    gid_t groups[3];
    return getresuid(&users[0], &users[1], &users[2]) == 0 &&
           getresgid(&groups[0], &groups[1], &groups[2]) == 0 && users[0] == user &&
           users[1] == user && users[2] == user && groups[0] == group && groups[1] == group &&
           groups[2] == group;
}

// Groups first: a user without rights could not leave them.
static bool take_identity()
{
    if (proxy_runuid == -1 && proxy_rungid == -1)
        return true;
    const std::int32_t named = proxy_rungid != -1 ? proxy_rungid : group_of_user();
    if (named == -1)
        return false;
    const auto group = static_cast<gid_t>(named);
    const uid_t user = proxy_runuid != -1 ? static_cast<uid_t>(proxy_runuid) : geteuid();
    if (user != 0 && has_identity(user, group))
        return true; // started as that user, who may not set groups
    return is_done("groups", setgroups(0, nullptr)) &&
           is_done("the group", setresgid(group, group, group)) &&
           is_done("the user", setresuid(user, user, user));
}

static bool drop_capabilities()
{
    __user_cap_header_struct header{.version = _LINUX_CAPABILITY_VERSION_3, .pid = 0};
    const __user_cap_data_struct none[_LINUX_CAPABILITY_U32S_3] = {};
    return is_done("capabilities", syscall(SYS_capset, &header, none));
}

bool give_up_rights()
{
    const rlimit no_core{.rlim_cur = 0, .rlim_max = 0};
    // After the change of identity, because that resets whether the process may dump core.
    return is_done("core files", setrlimit(RLIMIT_CORE, &no_core)) && take_identity() &&
           drop_capabilities() &&
           is_done("new privileges", prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0)) &&
           is_done("dumps", prctl(PR_SET_DUMPABLE, 0, 0, 0, 0));
}
