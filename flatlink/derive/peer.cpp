#include "flatlink/derive/peer.h"

#include "flatlink/derive/run_state.h"
#include "flatlink/records/line.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/text.h"

using namespace flatlink;

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
    if (key == nullptr)
        note_absent(obj, "ip-address");
    frag *gateway = find_object(db, key, obj);
    if (gateway == nullptr)
        condfprintf(fout, "find_sgo_ip cannot find sgo (%s)\n", key != nullptr ? key : "NULL");
    return gateway;
}

frag *flatlink::network_of_peer(frag **db, frag *obj)
{
    const char *key = child_value(obj, "network");
    if (key == nullptr)
        note_absent(obj, "network");
    return find_object(db, key, obj);
}

const char *name_of_object(frag **db, const char *key)
{
    frag *obj = ffind(db, key);
    if (obj == nullptr)
        note_missing(key, true);
    const char *name = child_value(obj, "name");
    if (name != nullptr)
        return name;
    return key != nullptr ? key : "";
}

const char *name_of_sgo_object(frag **db, frag *obj)
{
    frag *gateway = ffind(db, child_value(obj, "ip-address"));
    const char *addr = child_value(gateway, "addr");
    if (addr == nullptr && gateway != nullptr)
        note_absent(gateway, "addr");
    return addr != nullptr ? addr : "";
}
