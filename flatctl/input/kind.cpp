#include "flatctl/input/kind.h"

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/origin.h"

#include <algorithm>
#include <string_view>

using namespace flatlink;

// First parts of the keys that the programs of the firewall read, the layouts before this one too.
static constexpr std::string_view database_parts[] = {
    "?xml",   "OS",    "auth",     "cust",   "def",           "destination", "fpf-serv",
    "gui",    "ip",    "lpf-serv", "net",    "netobj",        "netx",        "pfedit",
    "policy", "proxy", "rule",     "stdlog", "varnholt.conf", "version",     "vpn"};

// The first that only flat data has.
static constexpr std::string_view flat_parts[] = {"vlink", "ikePolicy", "ipsecPolicy", "mcpool",
                                                  "link",  "pair",      "pass",        "key"};

// Keys that every flat file has, and that no database needs.
static constexpr const char *flat_keys[] = {"vpn_kernelacceleration", "ip_myhostname"};

input_kind flatlink::kind_of_tree(const frag *first)
{
    auto *head = const_cast<frag *>(first); // looked at, and not changed
    bool is_database = false;
    for (const frag *node = first; node != nullptr; node = node->next) {
        if (node->child != nullptr &&
            std::ranges::find(flat_parts, std::string_view(node->name)) != std::end(flat_parts))
            return input_kind::FLAT_DATA;
        is_database =
            is_database || std::ranges::find(database_parts, std::string_view(node->name)) !=
                               std::end(database_parts);
    }
    for (const char *key : flat_keys)
        if (ffind(&head, key) != nullptr)
            return input_kind::FLAT_DATA;
    return is_database ? input_kind::DATABASE : input_kind::UNKNOWN;
}

static std::string_view layout_of(frag *head)
{
    if (ffind(&head, "def_proxy") != nullptr && ffind(&head, "def_num_proxies") != nullptr)
        return "numbered";
    const bool is_before =
        ffind(&head, "gui_client") != nullptr || ffind(&head, "def_proxy_plug-relay") != nullptr;
    return is_before ? "4.1" : "current";
}

void flatlink::take_tree_facts(const frag *first, input_facts &facts)
{
    constexpr std::string_view names[] = {"", "flat", "sections", "tags"};
    std::vector<const frag *> open{first};
    while (!open.empty()) {
        const frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            if (node->child != nullptr)
                open.push_back(node->child);
            if (node->value == nullptr)
                continue;
            ++facts.keys;
            const std::string_view name = names[static_cast<std::size_t>(origin_notation(node))];
            if (facts.notation.empty() || name.empty())
                facts.notation += name;
            else if (facts.notation != name)
                facts.notation = "mixed";
        }
    }
    facts.layout = layout_of(const_cast<frag *>(first)); // looked at, and not changed
}

std::int64_t flatlink::count_lines(std::string_view text)
{
    return std::ranges::count(text, '\n') + (text.empty() || text.ends_with('\n') ? 0 : 1);
}

bool flatlink::looks_like_table(std::string_view text)
{
    while (!text.empty()) {
        std::string_view line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        line.remove_prefix(std::min(line.find_first_not_of(" \t\r"), line.size()));
        if (line.empty() || line[0] == '#')
            continue;
        const std::size_t colon = line.find(':');
        return colon != std::string_view::npos && colon > 0 && colon + 1 < line.size() &&
               (line[colon + 1] == ' ' || line[colon + 1] == '\t') && line.find('=') > colon &&
               line[0] != '[' && line[0] != '<';
    }
    return false;
}
