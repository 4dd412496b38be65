#include "flatlink/derive/rule_walk.h"

#include <cstring>

#include "flatlink/derive/add_link.h"
#include "flatlink/derive/trusted_link.h"
#include "flatlink/records/line.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/objects/pattern.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/ulib/text.h"

std::int32_t rulenumber = 0;
const char *rulelabel = nullptr;
std::int32_t ruleloglevel = 0;
std::int32_t nestinglevel = 0;

void start_rule_walk()
{
    start_links();
    rulenumber = 0;
    vpn_fremote = nullptr;
    vpn_flocal = nullptr;
}

bool is_empty_group(const char *type)
{
    return text_of(type) == "emptygroup";
}

int enum_rule_list(frag **db, frag *list, const object_callback &callback)
{
    if (list == nullptr)
        return 1;
    sort_frags(&list->child);
    for (frag *rule = list->child; rule != nullptr; rule = rule->next)
        callback(db, rule, "rule");
    return 0;
}

// The number in the rule's name, or else in its child `number`; a rule without one keeps the
// number of the rule before it.
static void set_rule_number(frag *rule, std::uint32_t flags)
{
    std::int32_t number = lenient_number(rule->name);
    if (number < 1)
        if (const char *value = child_value(rule, "number"))
            number = lenient_number(value);
    if (number > 0)
        rulenumber = number;
    const auto bits = static_cast<std::uint32_t>(rulenumber) & ~PROXY_RULE;
    rulenumber = static_cast<std::int32_t>(bits | (flags & PROXY_RULE));
}

static void set_rule_state(frag *rule, std::uint32_t flags)
{
    constexpr std::int32_t USUAL_LOG_LEVEL = 2;
    set_rule_number(rule, flags);
    rulelabel = child_value(rule, "rulelabel");
    const char *level = child_value(rule, "loglevel_number");
    ruleloglevel = level != nullptr ? lenient_number(level) : USUAL_LOG_LEVEL;
    nestinglevel = 0;
}

// The object on one side of a rule. A name that leads nowhere loses its last part, in the tree
// too, and is tried once more: "net_ipaddr_gw_addr" is the object "net_ipaddr_gw".
static frag *find_side(frag **db, frag *rule, const char *key)
{
    frag *side = ffind(&rule->child, key);
    char *name = side == nullptr ? nullptr : side->value;
    if (name == nullptr)
        return nullptr;
    if (frag *obj = ffind(db, name))
        return obj;
    char *last_part = std::strrchr(name, '_');
    if (last_part == nullptr || last_part == name)
        return nullptr;
    *last_part = '\0';
    return ffind(db, name);
}

static const char *shown_name(frag *rule, const char *key)
{
    const char *name = child_value(rule, key);
    return name != nullptr ? name : "<NULL>";
}

int vpn_enum_link_rules(frag **db, frag *rule, std::uint32_t flags)
{
    if (rule == nullptr)
        return 0;
    free_replaced_patterns();
    set_walk_origin(rule);
    set_rule_state(rule, flags);
    frag *src = find_side(db, rule, "src");
    if (src == nullptr) {
        condfprintf(fout, "vpn enum rule, src not found: (%s)\n", shown_name(rule, "src"));
        return 0;
    }
    const char *dst_key = flags & PROXY_RULE ? "dest" : "dst";
    frag *dst = find_side(db, rule, dst_key);
    if (dst == nullptr) {
        condfprintf(fout, "vpn enum rule, dst not found: (%s)\n", shown_name(rule, dst_key));
        return 0;
    }
    (void)vpn_check_link_pair(db, src, dst);
    if (fout != nullptr)
        std::fflush(fout);
    return 0;
}

namespace
{

enum class side_kind { PLAIN, GROUP, VPN_OBJECT, DESTINATION };

constexpr struct {
    std::string_view type;
    side_kind kind;
} side_kinds[] = {
    {"group", side_kind::GROUP},
    {"vpnnetwork", side_kind::VPN_OBJECT},
    {"vpnclient", side_kind::VPN_OBJECT},
    {"destobj", side_kind::DESTINATION},
};

} // namespace

static side_kind kind_of(const frag *obj)
{
    const std::string_view type = type_of_key(obj);
    for (const auto &row : side_kinds)
        if (same_word(row.type, type))
            return row.kind;
    return side_kind::PLAIN;
}

// An entry of a destination list stands for the object that its address names.
static frag *resolve_destination(frag **db, frag *dst)
{
    if (kind_of(dst) != side_kind::DESTINATION && !is_of_type(dst->parent, "destobj"))
        return dst;
    const char *name = child_value(dst, "addr");
    if (name == nullptr) {
        condfprintf(fout, "Dst destobj not found\n");
        return dst;
    }
    condfprintf(fout, "Dst destobj %s\n", name);
    frag *obj = find_object(db, name, dst);
    return obj != nullptr ? obj : dst;
}

static void check_destination_group(frag **db, frag *src, frag *dst)
{
    enum_group(db, dst, [src](frag **tree, frag *obj, const char *type) {
        return vpn_enum_link_dst(tree, obj, type, src);
    });
}

// Pairs of plain objects come by the million: counts the steps of one, with its trace.
static bool may_check_pair(const frag *dst, const char *type)
{
    constexpr std::size_t TRACE_SIZE = 24;
    return take_steps(1 + text_steps(TRACE_SIZE + std::strlen(type)), dst);
}

int vpn_check_link_pair(frag **db, frag *src, frag *dst)
{
    if (src == nullptr || dst == nullptr)
        return 0;
    const side_kind source = kind_of(src);
    if (source == side_kind::GROUP) {
        condfprintf(fout, "Src group check %s\n", fragname(src));
        enum_group(db, src, [dst](frag **tree, frag *obj, const char *type) {
            return vpn_enum_link_src(tree, obj, type, dst);
        });
        return 0;
    }
    dst = resolve_destination(db, dst);
    const char *type = type_of_key(dst);
    if (!may_check_pair(dst, type))
        return 0;
    const bool is_source_vpn = source == side_kind::VPN_OBJECT;
    condfputs(fout, is_source_vpn ? "Src VPN with dest " : "Dst ", type,
              is_source_vpn ? "\n" : " check\n");
    const side_kind destination = kind_of(dst);
    if (destination == side_kind::GROUP)
        check_destination_group(db, src, dst);
    else if (is_source_vpn && destination == side_kind::VPN_OBJECT)
        vpn_add_chained_links(db, src, dst);
    else if (is_source_vpn)
        vpn_add_link(db, src, dst);
    else if (destination == side_kind::VPN_OBJECT)
        vpn_add_link(db, dst, src);
    return 0;
}

int vpn_enum_link_src(frag **db, frag *obj, const char *type, frag *dst)
{
    return is_empty_group(type) ? 0 : vpn_check_link_pair(db, obj, dst);
}

int vpn_enum_link_dst(frag **db, frag *obj, const char *type, frag *src)
{
    return is_empty_group(type) ? 0 : vpn_check_link_pair(db, src, obj);
}
