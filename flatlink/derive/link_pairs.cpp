#include "flatlink/derive/link_pairs.h"

#include "flatlink/derive/derivation_watch.h"
#include "flatlink/derive/link_lines.h"
#include "flatlink/derive/peer.h"
#include "flatlink/derive/run_state.h"
#include "flatlink/records/line.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/objects/netobj_text.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/objects/pattern.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/text.h"

#include <cstdint>
#include <cstring>
#include <string>

using namespace flatlink;

// ---- the two sides of a rule

bool flatlink::is_empty_group(const char *type)
{
    return text_of(type) == "emptygroup";
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
        note_absent(dst, "addr");
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
    const step_note step(derivation_step::PAIR, src, dst);
    const side_kind source = kind_of(src);
    // The source is opened first: links come in the order of sources, then of destinations.
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

// ---- the endpoints of a VPN object

// The trace prints an object's pointer, to show whether it was found.
static unsigned shown_pointer(const frag *obj)
{
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(obj));
}

static int add_network_links(frag **db, frag *vpnobj, frag *peer, frag *gateway,
                             bool includes_gateway)
{
    frag *network = network_of_peer(db, vpnobj);
    if (gateway == nullptr || (network == nullptr && !includes_gateway)) {
        condfprintf(fout, "Cannot find network/sgo %x/%x\n", shown_pointer(network),
                    shown_pointer(gateway));
        return 1;
    }
    // The order of the links: what belongs to the peer with the firewall, then with the other side.
    if (includes_gateway) {
        vpn_add_trusted_link(db, vpnobj, gateway, vpn_flocal);
        vpn_add_trusted_link(db, vpnobj, network, vpn_flocal);
        vpn_add_trusted_link(db, vpnobj, gateway, peer);
    }
    if (network != nullptr)
        vpn_add_trusted_link(db, vpnobj, network, peer);
    return 0;
}

int vpn_add_link(frag **db, frag *vpnobj, frag *peer)
{
    const step_note step(derivation_step::OFFER, vpnobj, peer);
    int includes_gateway = 1;
    frag *gateway = find_sgo_ip(db, vpnobj, &includes_gateway);
    if (is_of_type(vpnobj, "vpnnetwork"))
        return add_network_links(db, vpnobj, peer, gateway, includes_gateway != 0);
    if (is_of_type(vpnobj, "vpnclient")) {
        if (includes_gateway != 0)
            vpn_add_trusted_link(db, vpnobj, vpn_fremote, vpn_flocal);
        vpn_add_trusted_link(db, vpnobj, vpn_fremote, peer);
    } else {
        condfprintf(fout, "Wrong type for vpn_add_link (%s)\n", type_of_key(vpnobj));
    }
    return 0;
}

// Makes links of `vpnobj` with what `other`, a vpnnetwork, has to offer. False if that has no
// gateway.
static bool add_links_with(frag **db, frag *vpnobj, frag *other)
{
    int includes_gateway = 1;
    frag *gateway = find_sgo_ip(db, other, &includes_gateway);
    if (gateway == nullptr)
        return false;
    if (includes_gateway != 0)
        vpn_add_link(db, vpnobj, gateway);
    if (frag *network = network_of_peer(db, other))
        vpn_add_link(db, vpnobj, network);
    return true;
}

int vpn_add_chained_links(frag **db, frag *first, frag *second)
{
    const step_note step(derivation_step::CHAINED, first, second);
    const std::string first_key = fragkeyname(first);
    condfprintf(fout, "TRACE chained(%s, %s)\n", first_key.c_str(), fragkeyname(second));
    if (is_of_type(first, "vpnnetwork"))
        (void)add_links_with(db, second, first); // the second half counts on its own
    if (is_of_type(second, "vpnnetwork") && !add_links_with(db, first, second))
        return 1;
    return 0;
}

// ---- a peer as the remote side of another

static void note_nested_peers(const frag *remote)
{
    const std::string place = walk_place(remote);
    if (nestinglevel >= MAX_PEER_NESTING)
        note_bound("peers inside of each other", MAX_PEER_NESTING, place, nestinglevel + 1);
    else
        note_bound("visits of peers inside of others", MAX_NESTED_PEERS, place,
                   derivation.nested_peers + 1);
}

// Makes the links of the inner peer first. A peer inside itself is reported and skipped, unless a
// group lies between, which ends the cycle at its second visit.
static bool add_nested_links(frag **db, frag *remote, frag *local)
{
    if (derivation.remote_peers.leads_back_to(remote)) {
        report_recursive(remote);
        return false;
    }
    if (nestinglevel >= MAX_PEER_NESTING || derivation.nested_peers >= MAX_NESTED_PEERS) {
        report_deep(remote);
        note_nested_peers(remote);
        return false;
    }
    ++derivation.nested_peers;
    ++nestinglevel;
    derivation.remote_peers.enter(remote);
    vpn_add_link(db, remote, local);
    derivation.remote_peers.leave();
    --nestinglevel;
    return true;
}

// ---- the expansion to single networks

namespace
{

// Types of remote sides that can be turned into an address text.
constexpr std::string_view remote_types[] = {"ipnet", "ipaddr", "iprange", "dns", "pattern"};

std::string cut_text(std::string_view text)
{
    const std::string_view kept = text.substr(0, LINK_TEXT_SIZE);
    if (kept.size() < text.size())
        note_text_cut(kept);
    return std::string(kept);
}

std::string key_of(const frag *obj)
{
    return obj == nullptr ? "<NULL>" : cut_text(fragkeyname(obj));
}

std::string link_name(frag *vpnobj)
{
    const char *name = child_value(vpnobj, "name");
    return name != nullptr ? cut_text(name) : key_of(vpnobj);
}

bool is_remote_type(const char *type)
{
    for (const std::string_view usable : remote_types)
        if (same_word(usable, type))
            return true;
    return false;
}

} // namespace

// A key is built from the top of the tree, so the steps grow with the object's depth.
static bool may_expand(const frag *vpnobj, const frag *remote, const frag *local)
{
    long long steps = 30;
    for (const frag *node : {vpnobj, remote, local})
        for (; node != nullptr; node = node->parent)
            ++steps;
    return take_steps(steps, vpnobj);
}

int vpn_add_trusted_link(frag **db, frag *vpnobj, frag *remote, frag *local)
{
    if (!may_expand(vpnobj, remote, local))
        return 1;
    const std::string name = link_name(vpnobj);
    const std::string local_key = key_of(local);
    const std::string remote_key = key_of(remote);
    trace_line(fout, {"TRACE trusted(", remote_key, "(", name, "), ", local_key, ")\n"});
    if (vpnobj == nullptr || remote == nullptr || local == nullptr)
        return 1;

    const step_note step(derivation_step::TRUSTED, remote, local);
    link_side remote_side{{}, type_of_key(remote)};
    const object_callback add_remote = [vpnobj, local](frag **tree, frag *obj, const char *type) {
        return vpn_enum_add_trust(tree, obj, type, {vpnobj, local});
    };
    if (same_word(remote_side.type, "group")) {
        enum_group(db, remote, add_remote);
        return 0;
    }
    if (same_word(remote_side.type, "vpnnetwork")) {
        if (!add_nested_links(db, remote, local))
            return 1;
        int includes_gateway = 1;
        if (find_sgo_ip(db, remote, &includes_gateway) == nullptr)
            return 1;
        remote_side.type = "ipaddr"; // its own part in the link is its gateway
    }
    if (!is_remote_type(remote_side.type)) {
        note_unfit(remote);
        return 1;
    }

    // A pattern is taken apart: this function is called again for each network in it.
    note_expands(value_source::REMOTE_SIDE, remote);
    std::string &remote_text = netobj_to_netperm(db, remote_key.c_str());
    if (enum_pattern(db, &remote_text, add_remote, "VPNremotepat", &remote_side.type) == 0)
        return 0;
    remote_side.text = cut_text(remote_text);

    link_side local_side{{}, type_of_key(local)};
    const object_callback add_local = [vpnobj, remote](frag **tree, frag *obj, const char *type) {
        return vpn_enum_add_trust_dst(tree, obj, type, {vpnobj, remote});
    };
    note_expands(value_source::LOCAL_SIDE, local);
    std::string &local_text = netobj_to_netperm(db, local_key.c_str());
    if (enum_pattern(db, &local_text, add_local, "VPNlocalpat", &local_side.type) == 0)
        return 0;
    local_side.text = local_text;
    note_expands(value_source::PROGRAM, nullptr);
    make_link(db, vpnobj, name, remote_side, local_side);
    return 0;
}

int vpn_enum_add_trust(frag **db, frag *obj, const char *type, const trust_context &context)
{
    if (!is_empty_group(type) && obj != nullptr)
        vpn_add_trusted_link(db, context.vpnobj, obj, context.fixed);
    return 0;
}

int vpn_enum_add_trust_dst(frag **db, frag *obj, const char * /*type*/,
                           const trust_context &context)
{
    if (obj != nullptr)
        vpn_add_trusted_link(db, context.vpnobj, context.fixed, obj);
    return 0;
}
