#include "flatctl/check/findings.h"

#include <algorithm>
#include <map>
#include <tuple>

using namespace flatlink;

using enum finding_level;

// A pool, an interface, and a peer with a rule that lacks its source.
static constexpr std::string_view POOL = "vpn_mcpool_p_mask=m\n"
                                         "net_ipmask_m_addr=255.255.255.0\n"
                                         "vpn_mcpool_p_addr_1_network=net_ipaddr_l\n"
                                         "net_ipaddr_l_addr=10.1.1.1\n";
static constexpr std::string_view INTERFACE =
    "netobj_list_Outside_element_1_interface=e0\n"
    "netobj_list_Outside_element_1_addr=10.1.1.1\n"
    "netobj_list_Outside_element_1_netmask=255.255.255.0\n";
static constexpr std::string_view PEER = "net_ipaddr_g_addr=192.0.2.1\n"
                                         "net_vpnnetwork_v_ip-address=net_ipaddr_g\n"
                                         "net_vpnnetwork_v_network=net_ipaddr_g\n"
                                         "net_vpnnetwork_v_include-sgo=off\n"
                                         "rule_pffwd_1_dst=net_vpnnetwork_v\n";

static constexpr finding_row rows[] = {
    {"D101", ERROR, "no line is a key of a firewall configuration",
     "a conversion leaves the default settings, and nothing of the input", "check the path",
     "root:x:0:0:root:/root:/bin/sh"},
    {"D102", ERROR, "it is flat VPN data already",
     "a conversion of it loses every link, policy and pool", "convert the database it came from",
     "vlink_1_lname=~plant"},
    {"D103",
     ERROR,
     "it is a device or a pipe",
     "flatlink refuses to put a file in its place",
     "give the path of a file",
     "",
     {},
     "a pipe, or a device such as /dev/null"},
    {"D110", WARNING, "a line without '=' runs on into the next",
     "both lines together are one key, which no program asks for",
     "add the '=' or take the line out", "ip_hostname\nip_domainname=plant.invalid"},
    {"D111", WARNING, "a key is given twice", "the later value counts, and this one is lost",
     "take one of the lines out", "ip_hostname=gate\nip_hostname=tower"},
    {"D112", ERROR, "a blank stands beside the '='",
     "key or value hold the blank, and are not found or not understood", "write KEY=VALUE",
     "ip_hostname =gate"},
    {"D113",
     ERROR,
     "a part of a key is too long",
     "it is cut, and the rest of it is taken for the value",
     "use a shorter name",
     "",
     {},
     "a key of which one part has 128 bytes"},
    {"D114", WARNING, "a key begins with '#'",
     "nothing is a comment in this notation: the line is a key that no program asks for",
     "take the line out", "#ip_hostname=gate\nip_domainname=plant.invalid"},
    {"D115", WARNING, "the input begins with a byte order mark",
     "the mark is a part of the first key, which is not found then", "save it without the mark",
     "\xEF\xBB\xBFip_hostname=gate\nip_domainname=plant.invalid"},
    {"D116", NOTE, "an empty value does not replace the one before",
     "the earlier value of the key counts", "take one of the lines out",
     "ip_hostname=gate\nip_hostname="},
    {"D117", WARNING, "an end tag or a text belongs to no element", "it is ignored",
     "compare it with its start tag", "<ip><hostname>gate</hostname></net></ip>"},
    {"D118", WARNING, "the input ends inside of a key, tag or comment", "all of that is lost",
     "complete it", "ip_domainname=plant.invalid\nip_hostname"},
    {"D201", ERROR, "a reference names no object",
     "what it stands for is left out: a link, a mask, a member of a group", "name an object",
     "rule_pffwd_1_src=net_ipaddr_l"},
    {"D202", ERROR, "a text is no address, mask or range",
     "it is taken for none, for another one, or for a name; an empty text may stand for all",
     "write a.b.c.d", "netobj_list_Outside_element_1_broadcast=10.1.1.999", INTERFACE},
    {"D203", ERROR, "a reference names an object only without its last part",
     "the object without that part is taken", "name the object itself",
     "rule_pffwd_1_src=net_ipaddr_g_x", PEER},
    {"D204", WARNING, "an object lacks a part that it needs",
     "it is left out of the links, or stands for a single address", "add the part",
     "net_ipnet_l_addr=net_ipaddr_g\n"
     "rule_pffwd_1_src=net_ipnet_l",
     PEER},
    {"D205", ERROR, "an object is of a type that does not count here", "it is left out",
     "name an object of another type", "vpn_mcpool_p_net_1_network=net_ipaddr_l", POOL},
    {"D210", ERROR, "objects lead back to themselves, or nest too deep",
     "what is inside is left out of the links", "take one of the references out",
     "rule_pffwd_1_src=net_group_s\n"
     "net_group_s_elem_1_type=ipaddr\n"
     "net_group_s_elem_1_obj=net_ipaddr_g\n"
     "net_group_s_elem_2_type=group\n"
     "net_group_s_elem_2_obj=net_group_s",
     PEER},
    {"D220", ERROR, "a word is in no table",
     "the field stays empty or has its usual value, or the proposal is left out",
     "see flatlink-database(5) for the words", "vpn_settings_aggressive-mode=Perhaps"},
    {"D221", ERROR, "a policy or pool does not exist", "links name it nevertheless",
     "name one that exists", "vpn_settings_ike=vpn_ike_none"},
    {"D222", ERROR, "a '_' splits the name of a policy or pool", "its fields are lost",
     "use a name without it", "vpn_ike_my_policy_name=My policy"},
    {"D223", WARNING, "a value is no number, or beyond the range of its field",
     "it is read as far as it goes, and brought into the range", "write a decimal number",
     "vpn_mcpool_p_expiry=soon", POOL},
    {"D231", WARNING, "links name a policy or pool otherwise than its record",
     "the reader of the flat data finds no record of that name, unless it ignores case",
     "take the display name out, or make it the record's name",
     "rule_pffwd_1_src=net_ipaddr_g\n"
     "net_vpnnetwork_v_ipsec=vpn_ipsec_p\n"
     "vpn_ipsec_p_name=Plain\n"
     "vpn_ipsec_p_select_1_cipher=DES",
     PEER},
    {"D240",
     WARNING,
     "a value is too long",
     "the rest of it is cut",
     "use a shorter one",
     "",
     {},
     "a vpnnetwork with links, whose secret has 128 bytes"},
    {"D301", NOTE, "a rule implies no link", "none of its lines counts",
     "name a VPN object on one side, if there should be one", "rule_pffwd_1_rulelabel=Office"},
    {"D302", ERROR, "a rule names its destination by the key of the other kind of rules",
     "the rule implies no link", "write dst for a packet filter, and dest for a proxy",
     "rule_proxy_1_dst=net_ipaddr_l"},
    {"D303", WARNING, "all links of a rule equal others", "none of them is written",
     "take the rule out, or see the rules that give them",
     "rule_pffwd_1_src=net_ipaddr_g\n"
     "rule_pffwd_2_src=net_ipaddr_g\n"
     "rule_pffwd_2_dst=net_vpnnetwork_v",
     PEER},
    {"D304", NOTE, "no rule with links leads to an object", "none of its lines counts",
     "take the object out, or name it in a rule", "net_ipaddr_l_addr=10.1.1.1"},
    {"D311", NOTE, "links of a rule equal others", "they are left out", "nothing need be done",
     "rule_pffwd_1_src=net_ipaddr_g\n"
     "rule_pffwd_2_dst=net_vpnnetwork_v\n"
     "rule_pffwd_2_src=net_group_s\n"
     "net_group_s_elem_1_type=ipaddr\n"
     "net_group_s_elem_1_obj=net_ipaddr_g\n"
     "net_group_s_elem_2_type=ipaddr\n"
     "net_group_s_elem_2_obj=net_ipaddr_l\n"
     "net_ipaddr_l_addr=10.1.1.1",
     PEER},
    {"D320", WARNING, "two peers have one display name", "their links cannot be told apart",
     "give one of them another name",
     "rule_pffwd_1_src=net_vpnclient_w\n"
     "net_vpnnetwork_v_name=Plant\n"
     "net_vpnclient_w_name=Plant",
     PEER},
    {"D401", NOTE, "a key is never asked for", "its value has no effect",
     "check the spelling, or take the line out", "ip_hostnam=gate"},
    {"D402", NOTE, "a value has no place in the flat data", "it is read and left out",
     "nothing need be done", "ip_defaultrouter=10.1.1.1"},
    {"D403", WARNING, "a record is not complete", "it is left out of the flat data",
     "add what the message names", "netobj_list_Outside_element_1_interface=e0"},
    {"D404",
     WARNING,
     "the reader of a record refuses a line",
     "the field keeps its default",
     "see what the message names",
     "",
     {},
     "the line vlink_1_Lname=a, checked with --kind flat"},
    {"D405", NOTE, "an interface is in another list, too",
     "both are one interface, which takes what it lacks from this one", "nothing need be done",
     "netobj_list_Heartbeat_element_1_interface=e0\n"
     "netobj_list_Heartbeat_element_1_addr=10.1.1.1\n"
     "netobj_list_Heartbeat_element_1_netmask=255.255.255.0",
     INTERFACE},
    {"D406",
     WARNING,
     "something stays behind in an older layout",
     "it is not found where the current layout has it",
     "see what the message names",
     "",
     {},
     "a database of the numbered layout with 10,000 interfaces that end with a '=', and as many "
     "object lists"},
    {"D407", NOTE, "a value counts only while an older layout is converted",
     "it may decide where others go, and no program asks for it after that", "nothing need be done",
     "gui_client="},
    {"D501",
     ERROR,
     "it implies more than a conversion may make",
     "flatlink leaves the database as it is",
     "see what the message names",
     "",
     {},
     "the same as for D406"},
    {"D502",
     ERROR,
     "the work on it ended early",
     "the findings are not complete",
     "report it together with the input",
     "",
     {},
     "none is known"},
    {"D601",
     WARNING,
     "others can read its secrets, or write it",
     "the keys of links are known, or chosen, by more than its owner",
     "chmod 600",
     "",
     {},
     "the line vpn_settings_anonsecret=x in a file that a group can read"},
    {"D602",
     NOTE,
     "the result depends on a name or a route of the host",
     "sizes and order of links can differ where the answer does",
     "give the answer with --names or --routes, or ask with --resolve",
     "",
     {},
     "a vpnnetwork with links, whose gateway is a name"},
    {"T101", ERROR, "a line is no entry: it has no colon, or no keyword after it", "it is dropped",
     "write NAME: KEYWORD ARGUMENT...", "relay: timeout 5\nrelay timeout 5"},
    {"T102",
     ERROR,
     "a line has more than 1022 characters",
     "it is dropped",
     "make two lines of it: most keywords may repeat",
     "",
     {},
     "a line of 1023 characters"},
    {"T103",
     ERROR,
     "the last line has no newline",
     "it is dropped",
     "end it with a newline",
     "",
     {},
     "relay: timeout 5, and no newline after it"},
    {"T104", ERROR, "a keyword has no argument", "it has no effect", "give one, or take it out",
     "relay: timeout"},
    {"T105",
     WARNING,
     "a line has more than 255 arguments",
     "those beyond it are dropped",
     "make two lines of it",
     "",
     {},
     "a line of 256 arguments"},
    {"T106", WARNING, "a byte of an argument is no printable ASCII character", "it is dropped",
     "write the text without it", "relay: ruleName caf\xC3\xA9"},
    {"T107", WARNING, "a quote, or a backslash, is the last of its line",
     "the quote ends with the line; the backslash is dropped", "close the quote",
     "relay: ruleName \"night shift"},
    {"T108", ERROR, "an afw-dest entry has no port", "it blocks every destination",
     "write afw-dest PATTERN PORT ID", "relay: afw-dest 10.1.1.1"},
    {"T109", ERROR, "a line names no proxy", "it is for none",
     "write a name before the colon, or *", "relay: timeout 5\n: timeout 5"},
    {"T110", WARNING, "a setting is given before",
     "the first entry of it counts, and not this one: options before proxies, and these before "
     "policies",
     "take one of them out, or move the one for all proxies after those for one",
     "relay: timeout 5\nrelay: timeout 6"},
    {"T111", ERROR, "the value of a setting is not of its kind",
     "a number is read as far as it goes, logging goes to the log daemon, a bind or a message "
     "fails",
     "see what netperm-table(5) says of the keyword", "relay: timeout soon"},
    {"T112", ERROR, "a pattern is not read as it is written",
     "numbers are kept modulo 256, what is no octet is ignored, a mask without an octet compares "
     "all of it, and a star in an identity stands for itself",
     "write a.b.c.d, a.b.c.d:mask with four octets each, or a.b.c.d-a.b.c.d",
     "relay: hosts 10.1.1.300 -policy p\npolicy-p: destination *"},
    {"T113", ERROR, "an entry has no pattern", "it fits nothing", "write one, before any option",
     "relay: hosts -policy p\npolicy-p: destination *"},
    {"T114", NOTE, "a hosts line does not begin its options with -policy",
     "the start of the proxy reports it; the line counts, without a policy",
     "name a policy, or leave it", "relay: hosts 10.*"},
    {"T115", WARNING, "the name of a policy has more than 50 characters", "the rest does not count",
     "use a shorter name",
     "relay: hosts * -policy a-name-of-more-than-fifty-characters-is-too-long-for-it\n"
     "policy-a-name-of-more-than-fifty-characters-is-too-long-f: destination *"},
    {"T116", ERROR, "the proxy has no such option",
     "the word is skipped, with a report for each client", "see the manual page of the proxy",
     "plug-relay: hosts * -policy p -dset\npolicy-p: destination *"},
    {"T117", ERROR, "an option lacks its argument, or its list an end",
     "it gives an entry without arguments, or takes all that is left of the line",
     "write -OPTION ARGUMENT or -OPTION { ARGUMENTS }",
     "plug-relay: hosts * -policy p -dest\npolicy-p: destination *"},
    {"T118", WARNING, "a brace stands in the same word as a text", "the text is dropped",
     "put a blank between them",
     "plug-relay: hosts * -policy p -dest {10.* 11.* }\npolicy-p: destination *"},
    {"T119", ERROR, "a pattern fits nothing",
     "a mask must have the bits of its address, a range an end after its begin, an address with "
     "stars four octets, a name no other characters than names of hosts, an identity at most 16, "
     "and a port is at most 65535",
     "see netperm-table(5)", "relay: hosts 10.1.1.9-10.1.1.1 -policy p\npolicy-p: destination *"},
    {"T120", WARNING, "no proxy asks for a keyword", "the entry has no effect",
     "check the spelling: netperm-table(5) and the manual page of the proxy have the keywords",
     "plug-relay: timeuot 5"},
    {"T121", WARNING, "a prefix means nothing with its keyword", "the entry counts as without it",
     "take the prefix out", "relay: deny-timeout 5"},
    {"T122", WARNING, "a setting of a proxy stands in a policy",
     "it has no effect: a proxy reads it before it knows the policy of a client",
     "move it to the entries of the proxy",
     "relay: hosts * -policy p\npolicy-p: destination *\npolicy-p: child-limit 5"},
    {"T123", WARNING, "log-enabled has no logging entry beside it",
     "it has no effect: reports go to the log daemon", "write a logging entry, too",
     "relay: log-enabled no"},
    {"T124", ERROR, "a '#' after the first column begins no comment",
     "the line is an entry, for each name before its colon", "put the '#' into the first column",
     "relay: child-limit 5\n # relay: timeout 5"},
    {"T125", WARNING, "default_logging has entries beside init-proxy",
     "they have no effect: they are read where no line is for init-proxy, or for all",
     "write them for init-proxy", "default_logging: logging both\n*: child-limit 5"},
    {"T201", ERROR, "no client reaches a hosts line",
     "earlier lines take every client that it names", "move it before them, or take it out",
     "relay: hosts 10.* -policy p\nrelay: hosts 10.1.1.1 -policy p\npolicy-p: destination *"},
    {"T202", ERROR, "a policy is not what a hosts line takes it for",
     "the proxy does not start, or refuses the client", "see what the message names",
     "relay: hosts * -policy open"},
    {"T203", ERROR, "a proxy would not start, or would end when it comes to an entry",
     "no client is served, or none that this entry is asked about", "see what the message names",
     "relay: timeout 5 6"},
    {"T204", WARNING, "no hosts line names a policy", "its entries are never asked",
     "name it with -policy, or take it out", "policy-p: destination *"},
    {"T205",
     NOTE,
     "a bound of the check is met",
     "the rest of the table is not checked",
     "check with --proxy, or a part of it",
     "",
     {},
     "a ports entry of 100 words that name no service"},
    {"T206", WARNING, "an item never decides", "an earlier one of the same entries decides for it",
     "move it before that one, or take it out",
     "relay: hosts * -policy p\npolicy-p: destination * !10.1.1.1"},
};

std::span<const finding_row> flatlink::finding_rows()
{
    return rows;
}

const finding_row *flatlink::find_code(std::string_view code)
{
    const auto *found = std::ranges::find(rows, code, &finding_row::code);
    return found == std::end(rows) ? nullptr : found;
}

std::string_view flatlink::level_name(finding_level level)
{
    constexpr std::string_view level_names[] = {"error", "warning", "note"};
    return level_names[static_cast<int>(level)];
}

std::string flatlink::smallest_input(const finding_row &row)
{
    return std::string(row.before).append(row.smallest);
}

std::string flatlink::finding_help_text(const finding_row &row)
{
    std::string text = std::string(row.code) + ": " + std::string(level_name(row.level)) + "\n\n";
    text.append("  What it is    ").append(row.text).append(".\n");
    text.append("  What follows  ").append(row.follows).append(".\n");
    text.append("  How to mend   ").append(row.mend).append(".\n");
    text.append("  Since         flatctl ").append(row.since).append(".\n");
    if (row.smallest.empty())
        return text.append("\nSmallest input: ").append(row.shape).append(".\n");
    text += "\nSmallest input:\n\n    ";
    for (const char c : smallest_input(row))
        text.append(1, c).append(c == '\n' ? "    " : "");
    return text + "\n";
}

void flatlink::fold_findings(std::vector<finding> &findings)
{
    using sameness = std::tuple<const finding_row *, std::string, std::vector<std::int32_t>>;
    std::map<sameness, std::size_t> firsts;
    std::vector<finding> kept;
    for (finding &one : findings) {
        const auto [first, is_new] =
            firsts.try_emplace({one.row, one.detail, one.related}, kept.size());
        if (is_new) {
            kept.push_back(std::move(one));
            continue;
        }
        finding &before = kept[first->second];
        before.count += one.count;
        if (one.line != 0)
            before.also.push_back(one.line);
    }
    findings = std::move(kept);
}
