// Every public call as a program makes it that links the libraries: this fails to build when a name
// goes away or takes other arguments. Calls that need a device, a terminal or a process of their
// own are linked, not run.
#include "flatlink/derive/context_word.h"
#include "flatlink/derive/link_pairs.h"
#include "flatlink/derive/peer.h"
#include "flatlink/derive/pool_loader.h"
#include "flatlink/driver.h"
#include "flatlink/flat_file.h"
#include "flatlink/records/address_expr.h"
#include "flatlink/records/decoder.h"
#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/keys.h"
#include "flatlink/records/line.h"
#include "flatlink/records/link_sort.h"
#include "flatlink/records/links.h"
#include "flatlink/records/old_links.h"
#include "flatlink/records/pools.h"
#include "flatlink/records/post_decode.h"
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
#include "lib/fwall/access/dsthost.h"
#include "lib/fwall/access/pname.h"
#include "lib/fwall/access/policy.h"
#include "lib/fwall/access/say.h"
#include "lib/fwall/access/srcchk.h"
#include "lib/fwall/access/srcrule.h"
#include "lib/fwall/log/context.h"
#include "lib/fwall/log/context_calls.h"
#include "lib/fwall/log/escape.h"
#include "lib/fwall/log/event_table.h"
#include "lib/fwall/log/log.h"
#include "lib/fwall/match/alldi.h"
#include "lib/fwall/match/hnam.h"
#include "lib/fwall/match/nama.h"
#include "lib/fwall/match/port.h"
#include "lib/fwall/match/revmap.h"
#include "lib/fwall/serve/accept_lock.h"
#include "lib/fwall/serve/daemon.h"
#include "lib/fwall/serve/daemon_signals.h"
#include "lib/fwall/serve/init.h"
#include "lib/fwall/serve/mapg.h"
#include "lib/fwall/serve/mapu.h"
#include "lib/fwall/serve/settings.h"
#include "lib/fwall/table/config.h"
#include "lib/fwall/table/enargv.h"
#include "lib/fwall/table/policy_table.h"
#include "lib/kdev/firewall_device.h"
#include "lib/kdev/firewall_names.h"
#include "lib/kdev/internal/firewall_query.h"
#include "lib/kdev/route_access.h"
#include "lib/kdev/vpn_device.h"
#include "lib/screen/form.h"
#include "lib/screen/keys.h"
#include "lib/screen/label.h"
#include "lib/screen/menu.h"
#include "lib/screen/strobj.h"
#include "lib/ulib/addr_mask.h"
#include "lib/ulib/dump.h"
#include "lib/ulib/environ.h"
#include "lib/ulib/host_length.h"
#include "lib/ulib/location.h"
#include "lib/ulib/name_table.h"
#include "lib/ulib/pmsg.h"
#include "lib/ulib/report.h"
#include "lib/ulib/socket.h"
#include "lib/ulib/string.h"
#include "lib/ulib/strlist.h"
#include "lib/ulib/token.h"
#include "lib/ulib/wildcard.h"

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
static socklen_t length = sizeof addr;
static u32 word = 0;
static int number = 0;
static char *text = room;
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
    std::FILE *stream = stdout;
    cfnode *index = cfnew('a');
    use(ffind(head, "a"), fnewfind(head, "a"), ffind2(head, "a", "b"), fval(head, "a"),
        fsetp(head, "a", "b", node), fset(head, "a", nullptr), fset_list(&node, "a", "b"),
        fdel(head, "a"), newsymfrag("name", 2), copy_fragtree(head, node), symffind("a"),
        symfset("a", "b"), symval("a"), copy_fragname_len(node, room, 64),
        copy_fragname(node, room), fragname(node), fragkeyname(node), hexconvert("5F"),
        attr_remap("permit-relay"), attr_revmap("relay-permit"), fragcmp("a%5F", "a_"),
        fragmatch("2", "10"), sort_frags(head), reverse_tree(head), strip_crlf_tree(head),
        export_frags(node, stream, 0), dump_frags(node, 0), cffind(&index, "a"),
        cfset(&index, "a", node), cffreetree(&index), cffree(index), fnewchild(node),
        fnewcleanup(head), frag_isblank(""), frag_istrue("on"), frag_strdup("a"), is_ws(' '),
        is_wscrlf('\r'), importffile("", head, 0), importenv(""), importinitialenv(""));
    use(norm_fragtree(head), canon_def(head), canon_cust(head), canon_parm(node, "a", "b", "c"),
        canon_netobj(head, "a"), canon_if(head, "a"), canon_interfaces(head),
        canon_policy(head, "a"), canon_pfrule_sub(head, "a"), canon_pfrules(head), canon_ip(head),
        determine_os_maprec(head), up41(head), make_parent(node, node),
        norm_list(head, node, "a", 1, nullptr), norm_groups(head, node), norm_groups2(head, node),
        norm_netobj(node, "a", "b"), norm_interfaces(head), norm_if(head, "a"),
        add_to_allif(head, node), is_in_list(head, "a", "b"), norm_parm(node, "a", "b", 0),
        norm_renumber(head, "a", nullptr, nullptr), norm_pfrules(head, "a", "b"),
        norm_vpndata(head, "a"), norm41(head), norm41states(head), exportenv("", 0),
        exportffile(nullptr, head, 99), outffile(stream, node, 0, 0), merge_fragtree(head, node),
        outxmlfile(stream, node, 0), norm_xml(head), canon_xml(head), xml_rename_list(node),
        xml_regname_list(node), xml_renumber_list(node), xml_resequence_list(node));
    renamefrag(node, "a");
    freefrag(node);
    flags_to_name(node, node);
    norm_ip32(head);
    symset("a", "b");
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
        enum_netlist(head, node, "a", count_text, &number), netobj_to_netperm(head, "a"),
        n2n_func(node, "a", 0), is_authon("a"));
    use(enum_rule_list(head, node, vpn_enum_link_rules, PROXY_RULE),
        vpn_enum_link_rules(head, node, "a", 0U), vpn_check_link_pair(head, node, node),
        vpn_enum_link_src(head, node, type, node), vpn_enum_link_dst(head, node, type, node),
        vpn_add_link(head, node, node), find_sgo_ip(head, node, &number), name_of_object(head, "a"),
        name_of_sgo_object(head, node), vpn_add_trusted_link(head, node, node, node),
        vpn_enum_add_trust(head, node, type, trust),
        vpn_enum_add_trust_dst(head, node, type, trust), vpn_add_chained_links(head, node, node),
        load_ike(node), load_ipsec(node), load_mcpool(head, node),
        check_mcpool_net(head, node, "rule", 0), load_settings(head, node),
        load_interfaces(head, node), post_decode(), getdnsname("a"), isfwaddr(0), ifname2addr("a"),
        decode_vpn_buffer(line), decode_nonvpn_buffer(line), vpn_getline(room, 1024, stdin),
        sraddrmask("a", &word, &word), add_partial_ikepol(line), add_partial_ipsecpol(line),
        add_partial_linkinfo(line), find_twin_linkinfo(nullptr, linkinfos), same_string("a", "b"),
        add_partial_vpnlink(line, 4096), add_partial_mcpool(line));
    read_vpndata("a", 1);
    read_vpndata55("a", 1);
    use(save_vpndata("a"), read_vpn_nonrule_loglevel("a"), populateDef42Tree("a"),
        populateDef42TreeFromEnv("a"), upgradeTo42(tree));
    vpnauto_sort();
    vpn_clientsort();
    condfprintf(nullptr, "%d", 1);
    build_interface_list(head);
    finish_ikepols();
    finish_ipsecpols();
    finish_linkinfos();
    finish_mcpools();
    finish_intfs();
    order_vpnlinks();
    save_ikepols(stdout, ikepolicy);
    save_ipsecpols(stdout, ipsecpolicy);
    save_linkinfos(stdout, linkinfos);
    save_vpnlinks(stdout, links, "link");
    save_mcpools(stdout, mcpools);
    save_intfs(stdout, intf_list);
    add_partial_swkey(line);
    add_partial_intf(1, 1, "name", "a");
    vpn_error_exit(1);
}

static void call_runtime()
{
    char **argv = nullptr;
    cfgrec *list = nullptr;
    const char *cache = nullptr;
    use(cfg_setpfile(nullptr), cfg_read("a"), cfg_read_no_SendLog("a"), cfg_get("a", list),
        cfg_next("a", list), cfg_copy(list), cfg_find("a"), cfg_bldCFGlist(),
        cfg_findPolicyNames(argv), enargv("a", argv, 1, room, 1024), is_on("on"), isalldigits("1"),
        proxy_init(&number, &argv), proxy_init_no_daemon(&number, &argv), mapgid("a"), mapuid("a"),
        get_policy(list, nullptr), get_policy_by_name("a"), do_daemon("1"), str_to_port("1"),
        permit_src_chk(0), permit_src_addr_chk(&addr, &addr), permit_src_sub(&addr),
        rule_src_chk(0, nullptr, "a", true), rule_src_addr_chk(&addr, &addr, nullptr, "a"),
        rule_src_sub(&addr, nullptr, "a"), inat_addr("a"), fwall_say(0, "a"), fwall_sayn(0, "a", 1),
        fwall_sayfile(0, "a"), permit_dst_chk("a", 1, list), permit_dst_chk_numeric("a", 1, list),
        permit_dst_chk_alpha("a", 1, list), permit_port_chk(1, list), permit_proxy_chk(list),
        afwDestBlock("a", 1, list, &cache, &cache), destmatch("a", &cache, &cache, "a"),
        maphostname("a"), getdsthost(0, &number), hostmatch("a", "b"), ip_match("a", "b"),
        maskmatch("a", "b"), range_hostmatch("a", "b"), namatch("a", "b"), nacasematch("a", "b"),
        set_match("a]", 'a', true), revmap("a"), peername(0, room, room, 1024UL),
        peer_addr_name(&addr, room, room, 1024UL));
    cfg_free(list);
    free_cfglist();
    proxy_check_reload();
    proxy_load_config();
    daemonize();
    lock_init("a");
    accept_lock();
    accept_unlock();
    waitwaitwait();
    stat_signal();
    SetProxyCallBack(hup_exit);
    rule_src_record(0, list);
}

static void call_log_and_utilities()
{
    stdlog_conn conn;
    va_list args{};
    fd_set set;
    CServiceContext *service = InitServiceContextG();
    CConnectionContext *connection = CopyConnectionContext(InitConnectionContext());
    Log log("a", service, 0, 8);
    log.SendLog(service, connection, &UNIQUE_DATA, 5, "%d", 1);
    log.vSendLog(service, connection, &UNIQUE_DATA, 5, "a", args);
    log.SendLogFormatted(service, connection, &UNIQUE_DATA, 5, "a");
    use(Log::WithinLogLevel(EVENT_BAD_ENTRY, 1), Log::CheckLogConfig(nullptr),
        lookup_loglevel_byid(EVENT_BAD_ENTRY), log_open(&conn), log_transmit("a", 1, nullptr),
        log_daemonmsg(1, nullptr, &conn), hexescNonAscii(room, "a", 9),
        hexescNonAsciiPlus(room, "a", 9, "b"), h_lengthCorrect(4, "a"), GetServiceType(service),
        GetProtocol(service), GetProxyName(service), GetProxyConfList(service),
        GetSrcPort(connection), GetDstPort(connection), GetMappedDstPort(connection),
        GetSrcIPAddress(connection), GetDstIPAddress(connection), GetUser(connection),
        InitServiceContext(), InitConnectionContextG());
    Log::UpdateLogLevelTable();
    log_close(&conn);
    V_OpenLog("a", service, 0, 8);
    V_CloseLog();
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
    connection->GetRuleNumber(room, 32);
    connection->GetRuleLabel(room, 32);
    use(connection->GetLogLevel());
    DestroyServiceContext(service);
    DestroyConnectionContext(connection);
    SendLog(servContext, connContext, UNIQUE_DATA, 5, "%d", 1);
    vSendLog(servContext, connContext, UNIQUE_DATA, 5, "a", args);
    clear_close_fd(9, &set, &set);
    auto *saddr = reinterpret_cast<sockaddr *>(&addr);
    use(get_local_hostname(room), serv_select(0, &set, nullptr, 1, 1),
        saddr_init("a", AF_INET, 1, saddr), sock_init("a", AF_INET, 1, SOCK_STREAM, saddr, 0),
        saddrlen(AF_INET, saddr), bindport(9, AF_INET, 1, 2, saddr),
        serv_listen("a", AF_INET, saddr, &number, nullptr), cli_conn("a", AF_INET, 1, saddr),
        conn_sd(saddr), bncat(text, 1, "a", 1), strsave("a", 1), stradd(text, "a", 1),
        repstr(text, 1, "a", 1), addptrlist(nullptr, text, &number),
        addstrlist(nullptr, "a", &number), next_token("a", " "), end_token("a", " "),
        wnet("1", "255", "0"), waddrmask("1", &word, &word), wmatch("a", "b"), wtmatch("a", "b"),
        tokens("a", " ", &number), getsep("a", "=", &text, &text), load_tokens("a"),
        _findenv("A", &number));
    freestrlist(nullptr, nullptr);
    dump_struct("a", room, 1);
    pmsg("a", 0, UNIQUE_DATA);
    exitmsg(0, "a", UNIQUE_DATA);
    outofcore();
}

static void call_devices_and_screen()
{
    ra_reply::element_type reply[1024];
    fw_name_req req{};
    std::int32_t local = 0;
    scobj *object = nullptr;
    const char *const items[] = {"a", nullptr};
    use(vfw_getpeername(0, &addr, &length), vfw_getsockname(0, &addr, &length),
        vfw_getdstname(0, &addr, &length), vfw_getbothnames(0, &addr, &addr, &word),
        vfw_checklocal(&addr), vfw_bind_fsa(0, &addr, &addr, &addr),
        vfw_recvfrom(0, room, 1UL, 0, &addr, &length, &addr),
        vfw_sendto(0, room, 1UL, 0, &addr, length, &addr), fw_query_names(0, &req),
        fw_query_session(0, &req, &local), vvpn_get_route(&word), ra_get_route_address(1, &word),
        ra_delete_route(1), ra_lookup_route(1, reply), ra_add_route(1, 2, 3, 0),
        ra_remove_route(1, 2, 3, 0), vvpn_ioctl(0, 1UL, k_msg));
    use(sc_mapkey(), sc_getbyte(), sc_getbyte_timed(), sc_add(object, object),
        sc_interact(stdscr, object), sc_next_focus(object, 2, object),
        sc_newstrobj(1, 1, nullptr, room, 9, -9, nullptr, nullptr), sc_newlabel(1, 1, "a"),
        sc_newclabel(1, "a"), sc_newbutton(1, 1, "a", nullptr, nullptr),
        sc_newmenu(1, 1, items, 0, &type, 9, 9, 0, 0, nullptr, nullptr),
        menu_key(stdscr, object, 10));
    sc_beep();
    sc_destroy(object);
    sc_redraw(stdscr, object, object);
    sc_menuresync(object, items);
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
