#include "lib/frag/layout/proxy_map.h"

#include "lib/frag/tree/frag.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <string_view>

using namespace flatlink;

namespace
{

// A program on either platform; null where the platform does not have it.
struct program_row {
    const char *node;
    const char *state;
    const char *type;
    const char *port;
    const char *unix_program;
    const char *nt_program;
};

constexpr const char *PLUG = "plug-relay";
constexpr const char *UNIX_PLUG = "./plug-relay";
constexpr const char *NT_PLUG = "plug-relay.exe";
constexpr const char *NO_NODE = "NOT_DEF";

constexpr program_row programs[] = {
    // programs that know their protocol
    {"ftp-proxy", "ftp", "ftp-proxy", "ftp", "./ftp-proxy", "ftp-proxy.exe"},
    {"http-proxy", "http", "http-proxy", "http", "./http-proxy", "http-proxy.exe"},
    {"https-proxy", "https", "https-proxy", "https", "./https-proxy", "https-proxy.exe"},
    {"telnet-proxy", "telnet", "telnet-proxy", "telnet", "./telnet-proxy", "telnet-proxy.exe"},
    {"rlogin-proxy", "rlogin", "rlogin-proxy", "login", "./rlogin-proxy", nullptr},
    {"rsh-proxy", "rsh", "rsh-proxy", "shell", "./rsh-proxy", nullptr},
    {"smtp-proxy", "smtp", "smtp-proxy", "smtp", "./smtp-proxy", "smtp-proxy.exe"},
    {"pop3-proxy", "pop3", "pop3-proxy", "pop3", "./pop3-proxy", "pop3-proxy.exe"},
    {"imap-proxy", "imap", "imap-proxy", "imap2", "./imap-proxy", "imap-proxy.exe"},
    {"gopher-proxy", "gopher", "gopher-proxy", "gopher", "./gopher-proxy", "gopher-proxy.exe"},
    {"dns-proxy", "dns", "dns-proxy", "domain", "./dns-proxy", "dns-proxy.exe"},
    {"snmp-proxy", "snmp", "snmp-proxy", "snmp", "./snmp-proxy", "snmp-proxy.exe"},
    {"ntp-proxy", "ntp", "ntp-proxy", "ntp", "./ntp-proxy", "ntp-proxy.exe"},
    {"x11-proxy", "x11", "x11-proxy", "6010", "./x11-proxy", nullptr},
    {"syslog-proxy", "syslog", "syslog-proxy", "syslog", "./syslog-proxy", nullptr},
    {"lpd-proxy", "lpd", "lpd-proxy", "printer", "./lpd-proxy", nullptr},
    {"nfs-proxy", "nfs", "nfs-proxy", "nfs", "./nfs-proxy", nullptr},
    {"rpc-proxy", "rpc", "rpc-proxy", "sunrpc", "./rpc-proxy", nullptr},
    {"rtsp-proxy", "rtsp", "rtsp-proxy", "rtsp", "./rtsp-proxy", "rtsp-proxy.exe"},
    {"sip-proxy", "sip", "sip-proxy", "sip", "./sip-proxy", "sip-proxy.exe"},
    {"h323-proxy", "h323", "h323-proxy", "1720", "./h323-proxy", "h323-proxy.exe"},
    {"socks-proxy", "socks", "socks-proxy", "socks", "./socks-proxy", "socks-proxy.exe"},

    // services that the plug relay carries, and the relay for everything else
    {"nntp-relay", "nntp", PLUG, "nntp", UNIX_PLUG, NT_PLUG},
    {"ldap-relay", "ldap", PLUG, "ldap", UNIX_PLUG, NT_PLUG},
    {"ldaps-relay", "ldaps", PLUG, "ldaps", UNIX_PLUG, nullptr},
    {"finger-relay", "finger", PLUG, "finger", UNIX_PLUG, NT_PLUG},
    {"whois-relay", "whois", PLUG, "whois", UNIX_PLUG, NT_PLUG},
    {"irc-relay", "irc", PLUG, "6667", UNIX_PLUG, NT_PLUG},
    {"ssh-relay", "ssh", PLUG, "ssh", UNIX_PLUG, NT_PLUG},
    {"ident-relay", "ident", PLUG, "auth", UNIX_PLUG, nullptr},
    {"plug-relay", "plug", PLUG, "", UNIX_PLUG, NT_PLUG},

    // slots for programs of the site
    {NO_NODE, "custom1", "", "", "", ""},
    {NO_NODE, "custom2", "", "", "", ""},
    {NO_NODE, "custom3", "", "", "", ""},
    {NO_NODE, "custom4", "", "", "", ""},
    {NO_NODE, "custom5", "", "", "", ""},
    {NO_NODE, "custom6", "", "", "", ""},
    {NO_NODE, "custom7", "", "", nullptr, ""},
    {NO_NODE, "custom8", "", "", nullptr, ""},
};

using program_column = const char *program_row::*;

constexpr std::size_t count_of(program_column column)
{
    return static_cast<std::size_t>(std::ranges::count_if(
        programs, [column](const program_row &row) { return row.*column != nullptr; }));
}

template <program_column column> constexpr auto rows_of()
{
    std::array<proxy_map_row, count_of(column)> rows{};
    std::size_t used = 0;
    for (const program_row &row : programs)
        if (row.*column != nullptr)
            rows[used++] = {row.node, row.state, row.type, row.port, row.*column};
    return rows;
}

constexpr auto unix_rows = rows_of<&program_row::unix_program>();
constexpr auto nt_rows = rows_of<&program_row::nt_program>();

// The first row whose name begins the value of `OS_Type` decides.
constexpr struct {
    std::string_view os;
    const proxy_map *map;
} os2maprec[] = {
    {"NT40", &map_nt},  {"BSD40", &map_unix}, {"NT", &map_nt},    {"BSD", &map_unix},
    {"SOL", &map_unix}, {"HPUX", &map_unix},  {"AIX", &map_unix},
};

} // namespace

constinit const proxy_map map_unix = unix_rows;
constinit const proxy_map map_nt = nt_rows;

proxy_map determine_os_maprec(frag **head)
{
    const char *value = fval(head, "OS_Type");
    if (value != nullptr)
        for (const auto &[os, map] : os2maprec)
            if (std::string_view(value).starts_with(os))
                return *map;
    return map_unix;
}

const proxy_map_row *flatlink::find_row(proxy_map map, const char *proxy_map_row::*column,
                                        const char *text)
{
    for (const proxy_map_row &row : map)
        if (std::strcmp(row.*column, text) == 0)
            return &row;
    return nullptr;
}
