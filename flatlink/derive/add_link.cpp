#include "flatlink/derive/add_link.h"

#include <cstdint>
#include <string>

#include "flatlink/derive/trusted_link.h"
#include "flatlink/records/line.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/ulib/text.h"

frag *vpn_flocal = nullptr;
frag *vpn_fremote = nullptr;

static void make_pseudo_objects(frag **db)
{
    if (vpn_flocal == nullptr) {
        fset(db, "net_ipaddr_localhost_addr", "127.0.0.1");
        vpn_flocal = ffind(db, "net_ipaddr_localhost");
        objects_changed();
        if (vpn_flocal == nullptr)
            condfprintf(fout, "vpn_flocal is NULL\n");
    }
    if (vpn_fremote == nullptr) {
        fset(db, "net_pattern_any_pat", "*");
        vpn_fremote = ffind(db, "net_pattern_any");
        objects_changed();
        if (vpn_fremote == nullptr)
            condfprintf(fout, "vpn_fremote is NULL\n");
    }
}

frag *find_sgo_ip(frag **db, frag *obj, int *flagout)
{
    make_pseudo_objects(db);
    *flagout = same_word(text_of(child_value(obj, "include-sgo")), "off") ? 0 : 1;
    if (!is_of_type(obj, "vpnnetwork"))
        return nullptr;
    const char *key = child_value(obj, "ip-address");
    frag *gateway = find_object(db, key, obj);
    if (gateway == nullptr)
        condfprintf(fout, "find_sgo_ip cannot find sgo (%s)\n", key != nullptr ? key : "NULL");
    return gateway;
}

static frag *network_of_peer(frag **db, frag *obj)
{
    return find_object(db, child_value(obj, "network"), obj);
}

// The trace shows where an object lies, as a sign that it was found.
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
    const std::string first_key = fragkeyname(first);
    condfprintf(fout, "TRACE chained(%s, %s)\n", first_key.c_str(), fragkeyname(second));
    if (is_of_type(first, "vpnnetwork"))
        (void)add_links_with(db, second, first); // the second half counts on its own
    if (is_of_type(second, "vpnnetwork") && !add_links_with(db, first, second))
        return 1;
    return 0;
}

const char *name_of_object(frag **db, const char *key)
{
    const char *name = child_value(ffind(db, key), "name");
    if (name != nullptr)
        return name;
    return key != nullptr ? key : "";
}

const char *name_of_sgo_object(frag **db, frag *obj)
{
    const char *addr = child_value(ffind(db, child_value(obj, "ip-address")), "addr");
    return addr != nullptr ? addr : "";
}
