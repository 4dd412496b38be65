// A proxy that serves no client: it starts up as any proxy does, prints the resulting state, and
// does what its input says, one word a line:
//   state    prints the settings again
//   reload   proxy_check_reload()
//   policy NAME   prints the policy's entries
//   send     one report from a connection
// The first argument, which the proxy never sees, chooses: contexts none, plain or global, a point,
// and the call: init or no_daemon.
#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/log/log.h"
#include "lib/fwall/serve/init.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/fwall/table/proxy.h"
#include "lib/ulib/address.h"
#include "lib/ulib/notice.h"
#include "lib/ulib/text.h"

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <string>

using namespace flatlink;

static void print_list(const char *label, const cfgrec *list)
{
    std::printf("%s=", label);
    for (; cfg_has(list); list = list->next) {
        std::printf("%d:%s", list->lineno, list->keyword);
        for (int i = 0; i < list->argc; ++i)
            std::printf("[%s]", list->argv[i]);
        std::printf(list->next == nullptr ? "" : " ");
    }
    std::printf("\n");
}

static void print_state(int argc, char **argv)
{
    std::printf("name=%s\n", proxy_name);
    std::printf("context=%s\n", servContext == nullptr ? "" : GetProxyName(servContext));
    std::printf("argv=");
    for (int i = 0; i < argc; ++i)
        std::printf("[%s]", argv[i]);
    std::printf("\nend=%d\n", argv[argc] == nullptr ? 1 : 0);
    std::printf("port=%s\n", gPortName == nullptr ? "(none)" : gPortName);
    std::printf("directory=%s\ntmp-directory=%s\n", proxy_directory, proxy_tmpdirectory);
    std::printf("groupid=%d\nuserid=%d\ntimeout=%d\n", proxy_rungid, proxy_runuid, proxy_timeout);
    std::printf("child-limit=%d\naccept-count=%d\n", proxy_child_limit, proxy_accept_count);
    std::printf("bind-address=%s\n", format_address(proxy_bind.sin_addr.s_addr).c_str());
    std::printf("hostname=%s\n", proxy_hostname);
    print_list("entries", proxy_confp);
    std::printf("same=%d\n", policy_confp == proxy_confp ? 1 : 0);
}

static void obey(const std::string &line, int argc, char **argv)
{
    if (line == "state")
        print_state(argc, argv);
    if (line == "reload")
        proxy_check_reload();
    if (line == "send")
        notice(EVENT_HOST_DENIED, 7, "host, denied");
    if (std::string_view name = line; take_prefix(name, "policy ")) {
        cfgrec *list = cfg_find(std::string(name).c_str());
        print_list("policy", list);
        cfg_free(list);
    }
    std::printf("done\n");
    std::fflush(stdout);
}

int main(int argc, char **argv)
{
    const std::string how = argc > 1 ? argv[1] : "";
    for (int i = 1; i < argc; ++i)
        argv[i] = argv[i + 1];
    argc -= argc > 1 ? 1 : 0;
    const std::string contexts = how.substr(0, how.find('.'));
    if (contexts == "plain")
        servContext = InitServiceContext();
    if (contexts == "global")
        servContext = InitServiceContextG();
    if (contexts != "none")
        connContext = InitConnectionContext();
    proxy_check_reload(); // before the start: nothing
    if (how.ends_with(".null"))
        proxy_init(&argc, nullptr);
    if (how.ends_with(".no_daemon"))
        proxy_init_no_daemon(&argc, &argv);
    else
        proxy_init(&argc, &argv);
    print_state(argc, argv);
    std::printf("done\n");
    std::fflush(stdout);
    std::string line;
    while (std::getline(std::cin, line))
        obey(line, argc, argv);
    V_CloseLog();
    DestroyConnectionContext(connContext);
    if (contexts == "plain")
        SetProxyConfList(servContext, nullptr);
    DestroyServiceContext(servContext);
    free_cfglist();
    cfg_free(proxy_confp);
    return 0;
}
