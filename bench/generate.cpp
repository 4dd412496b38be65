#include "bench/generate.h"

#include <algorithm>
#include <random>
#include <vector>

namespace
{

// A tree of names; leaves have a value and no children.
struct setting {
    std::string name;
    std::string value;
    std::vector<setting> children;
};

std::string address(std::size_t number)
{
    const auto octet = [number](unsigned shift) { return std::to_string(number >> shift & 255); };
    return "10." + octet(16) + "." + octet(8) + "." + octet(0);
}

std::string numbered_name(const char *stem, std::size_t number)
{
    return stem + std::to_string(number);
}

setting leaf(std::string name, std::string value)
{
    return {std::move(name), std::move(value), {}};
}

setting branch(std::string name, std::vector<setting> children)
{
    return {std::move(name), {}, std::move(children)};
}

// Five leaves.
setting make_host(std::size_t number, std::size_t random)
{
    return branch(numbered_name("h", number),
                  {leaf("label", numbered_name("host number ", number)),
                   leaf("kind", random % 3 == 0 ? "router" : "server"),
                   branch("port", {leaf("addr", address(random)), leaf("mask", "255.255.255.0")}),
                   branch("shown", {branch("as", {leaf("addr", address(random + 77))})})});
}

// Ten leaves.
setting make_rule(std::size_t number, std::size_t random)
{
    const std::string ticket = numbered_name("ticket ", random);
    return branch(
        numbered_name("r", number),
        {leaf("action", random % 2 == 0 ? "permit" : "deny"),
         leaf("label", numbered_name("rule ", number)), leaf("level", std::to_string(random % 6)),
         branch("source", {leaf("addr", address(random)), leaf("mask", "255.255.255.0")}),
         branch("dest", {leaf("addr", address(random + 99)), leaf("mask", "255.255.0.0")}),
         branch("service", {leaf("port", std::to_string(random % 65536)), leaf("proto", "tcp")}),
         branch("note", {leaf("text", ticket)})});
}

std::vector<setting> make_tree(std::size_t leaves)
{
    constexpr std::size_t HOST_LEAVES = 5;
    constexpr std::size_t RULE_LEAVES = 10;
    constexpr std::size_t GROUP_RULES = 20;
    std::mt19937 random(static_cast<unsigned>(leaves));
    const auto draw = [&random] { return random() & 0xFFFFFF; };

    setting hosts = branch("list", {});
    for (std::size_t i = 0; i < leaves / 2 / HOST_LEAVES; ++i)
        hosts.children.push_back(make_host(i, draw()));
    setting groups = branch("rule", {});
    for (std::size_t i = 0; i < leaves / 2 / RULE_LEAVES; ++i) {
        if (i % GROUP_RULES == 0)
            groups.children.push_back(
                branch(numbered_name("g", i / GROUP_RULES), {branch("list", {})}));
        groups.children.back().children[0].children.push_back(make_rule(i % GROUP_RULES, draw()));
    }
    std::vector<setting> tree;
    tree.push_back(branch("netobj", {}));
    tree.back().children.push_back(std::move(hosts));
    tree.push_back(std::move(groups));
    return tree;
}

void write_flat(const std::vector<setting> &list, const std::string &prefix,
                std::vector<std::string> &lines)
{
    for (const setting &node : list) {
        if (node.children.empty())
            lines.push_back(prefix + node.name + "=" + node.value + "\n");
        else
            write_flat(node.children, prefix + node.name + "_", lines);
    }
}

void write_sections(const std::vector<setting> &list, const std::string &path, std::string &out)
{
    const auto is_leaf = [](const setting &node) { return node.children.empty(); };
    if (std::any_of(list.begin(), list.end(), is_leaf))
        out += "[" + path + "]\n";
    for (const setting &node : list)
        if (is_leaf(node))
            out += node.name + "=" + node.value + "\n";
    for (const setting &node : list)
        if (!is_leaf(node))
            write_sections(node.children, path.empty() ? node.name : path + "_" + node.name, out);
}

void write_tags(const std::vector<setting> &list, std::string &out)
{
    for (const setting &node : list) {
        out += "<" + node.name + ">";
        if (node.children.empty()) {
            out += node.value;
        } else {
            out += "\n";
            write_tags(node.children, out);
        }
        out += "</" + node.name + ">\n";
    }
}

// Builds the lines of a database, each from its parts.
class database_text
{
  public:
    void line(const std::string &key, const std::string &value)
    {
        text_.append(key).append("=").append(value).append("\n");
    }
    void network(const std::string &name, const std::string &addr)
    {
        line("net_ipaddr_base-" + name + "_addr", addr);
        line("net_ipnet_" + name + "_addr", "net_ipaddr_base-" + name);
        line("net_ipnet_" + name + "_mask", "net_ipmask_24bits");
    }
    std::string take() { return std::move(text_); }

  private:
    std::string text_;
};

void add_site(database_text &out, std::size_t number)
{
    const std::string site = numbered_name("site", number);
    const std::string peer = "net_vpnnetwork_" + site;
    out.network(site, address(number << 8));
    out.line("net_ipaddr_gate-" + site + "_addr", "192." + address(number).substr(3));
    out.line(peer + "_name", numbered_name("Site ", number));
    out.line(peer + "_ip-address", "net_ipaddr_gate-" + site);
    out.line(peer + "_network", "net_ipnet_" + site);
    if (number % 3 == 0)
        out.line(peer + "_include-sgo", "off");
    out.line(peer + "_auth", "Certificate based");
    out.line(peer + "_scn", site);
}

void add_pool(database_text &out, std::size_t number)
{
    const std::string pool = numbered_name("vpn_mcpool_pool", number);
    out.line(pool + "_mask", "24bits");
    out.line(pool + "_addr_1_network", "net_ipnet_lan");
    out.line(pool + "_net_1_network", "net_ipnet_lan");
    out.line(pool + "_dns_1_network", "net_ipaddr_base-lan");
}

void add_parms(database_text &out, const std::string &owner, std::size_t count)
{
    out.line(owner + "_num_parms", std::to_string(count));
    for (std::size_t i = 1; i <= count; ++i) {
        const std::string parm = numbered_name((owner + "_parm_").c_str(), i);
        out.line(parm + "_name", numbered_name(i % 3 == 0 ? "permit-parm" : "parm_", i));
        out.line(parm + "_value", address(i));
    }
}

// A proxy, a config set of it and one of the plug relay, and a policy that uses both.
void add_numbered_proxy(database_text &out, std::size_t number)
{
    const std::string proxy = numbered_name("def_proxy_", number);
    const std::string name = number == 1 ? "plug-relay" : numbered_name("gate", number);
    out.line(proxy + "_realname", name);
    add_parms(out, proxy, 10);
    const std::string policy = numbered_name("policy_", number);
    out.line(policy + "_name", numbered_name("shift", number));
    for (const std::size_t set : {2 * number - 1, 2 * number}) {
        const std::string custom = numbered_name("cust_proxy_", set);
        out.line(custom + "_realname", set % 2 == 0 ? "plug-relay" : name);
        out.line(custom + "_name", numbered_name("set", set));
        out.line(numbered_name((policy + "_proxy_").c_str(), set) + "_name",
                 numbered_name("set", set));
        add_parms(out, custom, 3);
    }
}

void add_numbered_objects(database_text &out, std::size_t number)
{
    const std::string interface = numbered_name("eth", number);
    out.line(numbered_name("netobj_list_Inside_element_", number) + "_interface", interface);
    out.line("netobj_list_" + interface + "_INTERFACE_element_1_addr", address(number));
    const std::string group = numbered_name("netobj_group_", number);
    out.line(group + "_name", numbered_name("office", number));
    for (std::size_t i = 1; i <= 20; ++i)
        out.line(numbered_name((group + "_member_").c_str(), i) + "_addr", address(number + i));
    for (std::size_t i = 1; i <= 30; ++i)
        out.line(numbered_name("pfedit_fwd_rule", number * 30 + i),
                 "permit+hme0+tcp+" + std::to_string(i) + "++++++a note");
}

} // namespace

std::string make_settings(std::size_t leaves, notation form)
{
    const std::vector<setting> tree = make_tree(leaves);
    std::string out;
    if (form == notation::SECTIONS) {
        write_sections(tree, "", out);
    } else if (form == notation::TAGS) {
        out = "<settings>\n";
        write_tags(tree, out);
        out += "</settings>\n";
    } else {
        std::vector<std::string> lines;
        write_flat(tree, "", lines);
        if (form == notation::SHUFFLED)
            std::shuffle(lines.begin(), lines.end(), std::mt19937(1));
        for (const std::string &line : lines)
            out += line;
    }
    return out;
}

std::string make_database(const database_shape &shape)
{
    database_text out;
    out.line("ip_hostname", "gate");
    out.line("def_proxy_web-gate_port", "80");
    out.line("net_ipmask_24bits_addr", "255.255.255.0");
    out.network("lan", "10.250.0.0");
    for (std::size_t i = 0; i < shape.sites; ++i)
        add_site(out, i);
    for (std::size_t i = 0; i < shape.objects; ++i)
        out.line(numbered_name("net_ipaddr_object", i) + "_addr", address(i));
    for (std::size_t i = 0; i < shape.group_width; ++i) {
        const std::string member = numbered_name("net_group_wide_elem_", i + 1);
        out.line(member + "_type", "ipaddr");
        out.line(member + "_obj", numbered_name("net_ipaddr_object", i));
    }
    for (std::size_t i = 0; i < shape.pools; ++i)
        add_pool(out, i);
    for (std::size_t i = 0; i < shape.sites; ++i) {
        const std::string rule = numbered_name("rule_pffwd_", i + 1);
        out.line(rule + "_src", "net_ipnet_lan");
        out.line(rule + "_dst", numbered_name("net_vpnnetwork_site", i));
    }
    if (shape.group_width > 0) {
        out.line("rule_proxy_1_src", "net_group_wide");
        out.line("rule_proxy_1_dest", "net_vpnnetwork_site0");
    }
    return out.take();
}

std::string make_numbered_database(std::size_t leaves)
{
    constexpr std::size_t UNIT_LEAVES = 100;
    database_text out;
    out.line("ip_hostname", "gate");
    out.line("def_num_proxies", "1");
    out.line("cust_num_proxies", "1");
    out.line("proxy_ftp", "on");
    for (std::size_t i = 1; i <= leaves / UNIT_LEAVES; ++i) {
        add_numbered_proxy(out, i);
        add_numbered_objects(out, i);
    }
    return out.take();
}
