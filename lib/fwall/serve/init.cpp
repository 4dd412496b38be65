#include "lib/fwall/serve/init.h"

#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/log/log.h"
#include "lib/fwall/serve/daemon.h"
#include "lib/fwall/serve/settings.h"
#include "lib/fwall/serve/standard_fds.h"
#include "lib/fwall/serve/version.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/fixed_text.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/system_log.h"
#include "lib/ulib/text.h"

#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <syslog.h>

using namespace flatlink;

static constexpr int LOG_OPTIONS = LOG_PID | LOG_NDELAY;

namespace
{

// The remaining arguments; entry 0 is a name.
struct command_line {
    int argc;
    char **argv;

    std::string_view option() const { return argc > 1 ? text_of(argv[1]) : ""; }
    const char *operand() const { return argc > 2 ? argv[2] : nullptr; }
    void drop()
    {
        argc -= 2;
        argv += 2;
    }
};

struct option_row {
    std::string_view option;
    const char *complaint; // when the operand is missing
    bool is_port;
};

constexpr option_row options[] = {
    {"-daemon", "cfgerr: -daemon needs port info", true},
    {"-port", "cfgerr: -daemon needs port info", true},
    {"-service", "cfgerr: -service needs an argument", false},
};

} // namespace

static bool started = false;
static timespec table_time; // modification time of the table at the last load

// Reads the modification time of the table at its plain path. False if that fails.
static bool take_table_time(timespec &time)
{
    struct stat status;
    if (stat(NETPERM_TABLE, &status) != 0)
        return false;
    time = status.st_mtim;
    return true;
}

static bool is_later(const timespec &a, const timespec &b)
{
    return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
}

[[noreturn]] static void refuse(const char *complaint)
{
    notice(EVENT_COMMAND_LINE, 0, "%s", complaint);
    std::exit(1);
}

static void take_program_name(std::string_view path)
{
    set_text(proxy_name, path.substr(path.rfind('/') + 1)); // npos + 1 is 0
}

static void print_version()
{
    std::printf("%-12.12s %s%d\n", proxy_name, ver_str, patchlevel);
    std::exit(0);
}

// Opens the log under the name of the common entries. A service context may keep its name and list
// in the proxy's globals, so this restores the proxy's name.
static void open_first_log()
{
    const std::string name = proxy_name;
    proxy_confp = cfg_read("init-proxy");
    SetProxyName(servContext, "init-proxy");
    if (proxy_confp == cfg_failure()) {
        proxy_confp = nullptr;
        system_log(LOG_NOTICE, "%s: Unable to read netperm-table.  Exiting.\n", name.c_str());
        std::printf("Unable to read netperm-table.  Exiting.\n");
        std::exit(1);
    }
    SetProxyConfList(servContext, proxy_confp);
    V_OpenLog("init-proxy", servContext, LOG_OPTIONS, LOG_DAEMON);
    set_text(proxy_name, name);
}

static void take_other_name(command_line &line)
{
    if (line.option() != "-as" && line.option() != "-runas")
        return;
    if (line.operand() == nullptr)
        refuse("cfgerr: -as missing argument");
    std::string name = line.operand();
    if (name.starts_with('-'))
        name.insert(0, proxy_name);
    set_text(proxy_name, name);
    line.drop();
}

static void take_options(command_line &line, bool no_daemon)
{
    for (;;) {
        const option_row *found = nullptr;
        for (const option_row &row : options)
            if (line.option() == row.option)
                found = &row;
        if (found == nullptr)
            return;
        if (line.operand() == nullptr)
            refuse(found->complaint);
        line.drop();
        if (!found->is_port)
            continue;
        gPortName = line.argv[0];
        if (!no_daemon)
            (void)do_daemon(gPortName); // if the fork fails, this process serves as the proxy
    }
}

static int proxy_start(int *argc, char ***argv, bool no_daemon)
{
    if (argc == nullptr || argv == nullptr)
        refuse("cfgerr: init_proxy called with bad arguments");
    fill_standard_fds();
    started = true;
    proxy_confp = nullptr;
    command_line line{*argc, *argv};
    if (line.argc > 0)
        take_program_name(text_of(line.argv[0]));
    if (line.option() == "-version")
        print_version();
    open_system_log(nullptr, 0, LOG_USER); // for reports while there is no log object
    open_first_log();
    proxy_bind = {};
    take_other_name(line);
    SetProxyName(servContext, proxy_name);
    set_text(policy_name, "");
    if (!take_table_time(table_time))
        table_time = {};
    if (proxy_load_config() != 0 || cfg_bldCFGlist() < 0)
        std::exit(1);
    V_OpenLog(proxy_name, servContext, LOG_OPTIONS, LOG_DAEMON);
    take_options(line, no_daemon);
    *argc = line.argc;
    *argv = line.argv;
    return 0;
}

int proxy_init(int *argc, char ***argv)
{
    return proxy_start(argc, argv, false);
}

int proxy_init_no_daemon(int *argc, char ***argv)
{
    return proxy_start(argc, argv, true);
}

void proxy_check_reload()
{
    timespec now;
    if (!started || !take_table_time(now) || !is_later(now, table_time))
        return;
    if (proxy_load_config() != 0) {
        notice(EVENT_BAD_ENTRY, 0, "Error reading proxy configuration file for update.");
        return;
    }
    if (cfg_bldCFGlist() < 0) {
        notice(EVENT_BAD_ENTRY, 0, "Error building data structures for policies.");
        return;
    }
    table_time = now;
}
