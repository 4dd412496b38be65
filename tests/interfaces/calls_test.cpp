// The public calls that no other test makes, as a program makes them that links the libraries: this
// fails to build when a name goes away or takes other arguments. Calls that need a device, a
// terminal or a process of their own are linked, not run.
#include "flatlink/derive/context_word.h"
#include "flatlink/derive/link_pairs.h"
#include "flatlink/derive/peer.h"
#include "flatlink/derive/pool_loader.h"
#include "flatlink/driver.h"
#include "flatlink/flat_file.h"
#include "flatlink/records/address_expr.h"
#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/line.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/records/links.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/pools.h"
#include "lib/digest/md5.h"
#include "lib/frag/export/export.h"
#include "lib/frag/export/xml_layout.h"
#include "lib/frag/export/xml_write.h"
#include "lib/frag/import/import.h"
#include "lib/frag/import/token_symbol.h"
#include "lib/frag/layout/canon.h"
#include "lib/frag/layout/canon_proxy.h"
#include "lib/frag/layout/norm.h"
#include "lib/frag/layout/norm41.h"
#include "lib/frag/layout/norm_interfaces.h"
#include "lib/frag/layout/norm_list.h"
#include "lib/frag/layout/proxy_map.h"
#include "lib/frag/layout/upgrade.h"
#include "lib/frag/objects/context_word.h"
#include "lib/frag/tree/cftrie.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/frag_text.h"
#include "lib/frag/tree/merge.h"
#include "lib/frag/tree/symbol.h"
#include "lib/fwall/access/chkdest.h"
#include "lib/fwall/access/policy.h"
#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/log/context.h"
#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/log/escape.h"
#include "lib/fwall/log/log.h"
#include "lib/fwall/match/nama.h"
#include "lib/fwall/serve/accept_lock.h"
#include "lib/fwall/serve/daemon.h"
#include "lib/fwall/serve/mapg.h"
#include "lib/fwall/serve/mapu.h"
#include "lib/fwall/serve/settings.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/enargv.h"
#include "lib/kdev/firewall_device.h"
#include "lib/kdev/internal/firewall_query.h"
#include "lib/kdev/route_access.h"
#include "lib/kdev/vpn_device.h"
#include "lib/screen/form.h"
#include "lib/screen/keys.h"
#include "lib/screen/menu.h"
#include "lib/ulib/location.h"
#include "lib/ulib/name_table.h"
#include "lib/ulib/report.h"
#include "lib/ulib/socket.h"
#include "lib/ulib/strlist.h"
#include "lib/ulib/token.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>

using namespace flatlink;

namespace interfaces
{

// Takes the results of calls.
template <typename... results> static void use(const results &...) {}

static bool is_run()
{
    static volatile bool run = false; // so that no compiler leaves the calls out
    return run;
}

static frag *tree = nullptr;
static char room[1024] = "10.1.*";
static frag *node = nullptr;
static frag **head = &tree;
static sockaddr_in addr{};
static u32 word = 0;
static int number = 0;
static const char *type = "";
static std::uint32_t rule_flags = 0;

// One word more than the walks need.
static int count_object(frag **, frag *, const char *, int *count)
{
    return ++*count, 0;
}

static int count_text(frag *, const char *, int *count)
{
    return ++*count, 0;
}

static void call_tree()
{
    cfnode *index = cfnew('a');
    use(fnewfind(head, "a"), newsymfrag("name", 2), copy_fragname(node, room), hexconvert("5F"),
        cffind(&index, "a"), cfset(&index, "a", node), cffreetree(&index), cffree(index),
        fnewchild(node), fnewcleanup(head), frag_strdup("a"), is_ws(' '), is_wscrlf('\r'));
    use(canon_def(head), canon_cust(head), canon_interfaces(head), canon_pfrule_sub(head, "a"),
        canon_pfrules(head), canon_ip(head), determine_os_maprec(head), make_parent(node, node),
        norm_groups(head, node), norm_groups2(head, node), norm_interfaces(head),
        is_in_list(head, "a", "b"), norm_xml(head), xml_rename_list(node), xml_regname_list(node),
        xml_renumber_list(node), xml_resequence_list(node));
    freefrag(node);
    norm_ip32(head);
    cur_database = &def_database;
}

static void call_objects_and_records()
{
    const trust_context trust{node, node};
    char line[] = "a=b";
    use(type_of_key(node), enum_group(head, node, count_object, &number),
        enum_list(head, &node, count_object, &number),
        enum_netobj6(head, node, "a", count_text, &number),
        enum_netobj42(head, "a", count_text, &number),
        enum_netgroup(head, node, "a", count_text, &number),
        enum_netlist(head, node, "a", count_text, &number), n2n_func(node, "a", 0));
    use(enum_rule_list(head, node, vpn_enum_link_rules, PROXY_RULE),
        vpn_enum_link_rules(head, node, "a", 0U), vpn_enum_link_src(head, node, type, node),
        vpn_enum_link_dst(head, node, type, node), find_sgo_ip(head, node, &number),
        name_of_object(head, "a"), name_of_sgo_object(head, node),
        vpn_enum_add_trust(head, node, type, trust),
        vpn_enum_add_trust_dst(head, node, type, trust), vpn_add_chained_links(head, node, node),
        load_ike(node), load_ipsec(node), load_mcpool(head, node),
        check_mcpool_net(head, node, "rule", 0), load_settings(head, node),
        load_interfaces(head, node), vpn_getline(room, 1024, stdin), add_partial_ikepol(line),
        add_partial_ipsecpol(line), add_partial_linkinfo(line), same_string("a", "b"),
        add_partial_vpnlink(line, 4096), add_partial_mcpool(line));
    use(populateDef42TreeFromEnv("a"), upgradeTo42(tree));
    vpn_clientsort();
    condfprintf(nullptr, "%d", 1);
    build_interface_list(head);
    save_ikepols(stdout, ikepolicy);
    save_ipsecpols(stdout, ipsecpolicy);
    save_linkinfos(stdout, linkinfos);
    save_mcpools(stdout, mcpools);
    save_intfs(stdout, intf_list);
    add_partial_swkey(line);
    vpn_error_exit(1);
}

static void call_runtime()
{
    char **argv = nullptr;
    cfgrec *list = nullptr;
    const char *cache = nullptr;
    use(cfg_read_no_SendLog("a"), enargv("a", argv, 1, room, 1024), mapgid("a"), mapuid("a"),
        do_daemon("1"), inat_addr("a"), permit_dst_chk_numeric("a", 1, list),
        permit_dst_chk_alpha("a", 1, list), afwDestBlock("a", 1, list, &cache, &cache),
        destmatch("a", &cache, &cache, "a"), namatch("a", "b"));
    proxy_load_config();
    daemonize();
    lock_init("a");
    accept_lock();
    accept_unlock();
    rule_src_record(0, list);
}

static void call_log_and_utilities()
{
    stdlog_conn conn;
    va_list args{};
    CServiceContext *service = InitServiceContextG();
    CConnectionContext *connection = CopyConnectionContext(InitConnectionContext());
    Log log("a", service, 0, 8);
    log.SendLog(service, connection, &UNIQUE_DATA, 5, "%d", 1);
    log.vSendLog(service, connection, &UNIQUE_DATA, 5, "a", args);
    log.SendLogFormatted(service, connection, &UNIQUE_DATA, 5, "a");
    use(log_daemonmsg(1, nullptr, &conn), hexescNonAscii(room, "a", 9), GetServiceType(service),
        GetProtocol(service), GetProxyName(service), GetProxyConfList(service),
        GetSrcPort(connection), GetDstPort(connection), GetMappedDstPort(connection),
        GetSrcIPAddress(connection), GetDstIPAddress(connection), GetUser(connection),
        InitConnectionContextG());
    Log::UpdateLogLevelTable();
    V_OpenLog("a", service, 0, 8);
    SetServiceType(service, GetServiceType(service));
    SetProtocol(service, GetProtocol(service));
    SetProxyName(service, "a");
    SetProxyConfList(service, nullptr);
    SetSrcPort(connection, 1);
    SetDstPort(connection, 1);
    SetMappedDstPort(connection, 1);
    SetSrcIPAddress(connection, "a");
    SetDstIPAddress(connection, "a");
    SetUser(connection, "a");
    SetRule(connection, "a", "b", 1);
    SetConnectionID(connection, "a");
    SendLog(servContext, connContext, UNIQUE_DATA, 5, "%d", 1);
    vSendLog(servContext, connContext, UNIQUE_DATA, 5, "a", args);
    auto *saddr = reinterpret_cast<sockaddr *>(&addr);
    use(get_local_hostname(room), sock_init("a", AF_INET, 1, SOCK_STREAM, saddr, 0),
        saddrlen(AF_INET, saddr), bindport(9, AF_INET, 1, 2, saddr), next_token("a", " "),
        end_token("a", " "));
    freestrlist(nullptr, nullptr);
}

static void call_devices_and_screen()
{
    fw_name_req req{};
    std::int32_t local = 0;
    scobj *object = nullptr;
    use(fw_query_names(0, &req), fw_query_session(0, &req, &local), vvpn_get_route(&word));
    use(sc_getbyte(), sc_getbyte_timed(), sc_next_focus(object, 2, object),
        menu_key(stdscr, object, 10));
    sc_beep();
    sc_redraw(stdscr, object, object);
    menu_moveup(stdscr, object);
    menu_movedn(stdscr, object);
    menu_draw(stdscr, object, 1);
    menu_destroy(object);
    sc_outofcore();
}

TEST(Interfaces, AreAllThere)
{
    if (is_run()) {
        call_tree();
        call_objects_and_records();
        call_runtime();
        call_log_and_utilities();
        call_devices_and_screen();
    }
}

// The forms that stand beside ours for callers of the same names.
TEST(Interfaces, FormsForCallersThatOwnTheirTexts)
{
    symset("g_elem_1_obj", "a");
    symset("a_type", "ipaddr");
    symset("key", "value");
    int objects = 0, texts = 0;
    enum_list(&def_database, &symffind("g_elem")->child, count_object, &objects);
    enum_netobj(&def_database, "10.1.1.1 10.1.1.2", count_text, &texts);
    EXPECT_EQ(objects, 1);
    EXPECT_EQ(texts, 1);
    const rule_callback count_flags = [](frag **, frag *, const char *, std::uint32_t flags) {
        return static_cast<int>(rule_flags += flags);
    };
    EXPECT_EQ(enum_rule_list(&def_database, symffind("g"), count_flags, PROXY_RULE), 0);
    EXPECT_EQ(rule_flags, PROXY_RULE);
    EXPECT_EQ(convert_pat(room), 0);
    EXPECT_STREQ(room, "10.1.0.0:255.255.0.0");
    std::strcpy(room, "10.2.*");
    EXPECT_EQ(enum_pattern(&def_database, room, count_object, &objects, "t", &type), 1);
    EXPECT_STREQ(room, "10.2.0.0:255.255.0.0");
    EXPECT_EQ(get_token("key", room), 0);
    EXPECT_STREQ(room, "value");
    free_fraglist(&def_database);

    const name_num words[] = {{"one", 1}, {}, {"nil", 0}};
    EXPECT_EQ(parsenametonum(words, "ONE"), 1);
    EXPECT_EQ(parsenumtoname(words, 0), null_name);
    EXPECT_STREQ(sraddrmask_fill(room, "10.1.*", "255"), "10.1.255.255");
    EXPECT_TRUE(same_string(static_cast<const char *>(nullptr), nullptr));
    EXPECT_FALSE(same_string("", static_cast<const char *>(nullptr)));
    free_vpnlp(new linkinfo);
    free_vpnlink(new vpnlink);
    vMDhash("abc", 3, reinterpret_cast<std::uint8_t *>(room));
    EXPECT_EQ(static_cast<unsigned char>(room[0]), 0x90);

    char *location = getlocation("/x");
    char *local = getusrlocaletc("/y");
    EXPECT_STREQ(location, "/x");
    EXPECT_STREQ(local, "/y");
    std::free(location);
    std::free(local);
    EXPECT_EQ(getlocation(nullptr), nullptr);

    std::uint8_t record[256] = {};
    std::uint8_t *message = record;
    char *name = room;
    EXPECT_EQ(vfw_set_udp_timer(static_cast<void *>(record)), -1); // there is no device
    EXPECT_EQ(vfw_addredirect(static_cast<void *>(record)), -1);
    EXPECT_EQ(vfw_delredirect(static_cast<void *>(record)), -1);
    EXPECT_EQ(vfw_vpnclientcheck(0, 0, name, name + 32), 0);
    EXPECT_EQ(vvpn_add_routes(message), VVPN_NO_ROUTES);
    EXPECT_TRUE(!is_run() || ra_get_route_interface(0, name) == 0);
}

} // namespace interfaces
