#include "flatlink/derive/link_lines.h"

#include "flatlink/derive/derivation_watch.h"
#include "flatlink/derive/peer.h"
#include "flatlink/derive/run_state.h"
#include "flatlink/records/line.h"
#include "flatlink/records/link_fields.h"
#include "flatlink/records/links.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/tree/frag.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

#include <array>
#include <cstdint>
#include <span>

using namespace flatlink;

namespace
{

// A child of the VPN object, and the field of the link that takes its value.
struct map_row {
    const char *key;
    std::string_view field;
};

// In the order of the lines, after those of the certificate names.
constexpr map_row vpnclient_map[] = {
    {"enforce-xgw", "xgwenforced"},
    {"use-xgw", "use_xgw"},
    {"df", "df_bit"},
};

constexpr map_row sgo_map[] = {
    {"auth", "auth"},
    {"secret", "secret"},
    {"df", "df_bit"},
};

constexpr struct {
    std::string_view object_type;
    std::string_view network_type;
} network_types[] = {{"ipnet", "Subnet"}, {"ipaddr", "Host"}, {"iprange", "Range"}};

// The children of a peer. Rules out most that it has not by the first two letters of their names: a
// link asks for two dozen, of which most peers have a few.
class peer_values
{
  public:
    explicit peer_values(frag *peer) : peer_(peer)
    {
        constexpr int FEW = 32; // a walk over more would cost more than it spares
        int count = 0;
        for (const frag *child = peer->child; child != nullptr; child = child->next)
            if (++count <= FEW) {
                seen_ |= bit_of(child->name);
            } else {
                seen_ = ~std::uint64_t{0};
                return;
            }
    }

    frag *peer() const { return peer_; }

    // As child_value.
    const char *value(const char *key) const
    {
        return (seen_ & bit_of(key)) != 0 ? child_value(peer_, key) : nullptr;
    }

  private:
    static std::uint64_t bit_of(const char *name)
    {
        const auto letter = static_cast<unsigned char>(name[0]);
        const auto next = static_cast<unsigned char>(letter == 0 ? 0 : name[1]);
        return std::uint64_t{1} << ((letter + 11U * next) & 63U);
    }

    frag *peer_;
    std::uint64_t seen_ = 0;
};

// Feeds the fields of one link, one line each.
class link_feeder
{
  public:
    void feed(std::string_view field, std::string_view value) const
    {
        // Each byte is kept, and written three times. The next link is the one to be refused.
        (void)take_steps(4 * text_steps(lines_.line_size(field, value)), nullptr);
        (void)lines_.add(field, value);
        note_from(value_source::READ); // an empty value is not stored
    }

    // A value that is not what was read just before.
    void feed_from(value_source source, const char *source_key, std::string_view field,
                   std::string_view value) const
    {
        note_from(source, source_key);
        feed(field, value);
    }

    // Nothing for a null value.
    void feed_if(std::string_view field, const char *value) const
    {
        if (value != nullptr)
            feed(field, value);
    }

    void feed_children(std::span<const map_row> rows, const peer_values &peer) const
    {
        for (const map_row &row : rows)
            feed_if(row.field, peer.value(row.key));
    }

    void feed_certificate(const peer_values &peer) const
    {
        for (const certificate_name &name : issuer_names)
            feed_if(name.key, peer.value(name.object_key));
        for (const certificate_name &name : subject_names)
            feed_if(name.key, peer.value(name.object_key));
        feed_if("san_type", peer.value("san-type"));
    }

    // The display name of the object that a child names.
    void feed_name(std::string_view field, frag **db, const char *key) const
    {
        if (key != nullptr)
            feed(field, name_of_object(db, key));
    }

  private:
    mutable link_lines lines_{static_cast<std::uint16_t>(linkno)};
};

std::string_view network_type(const char *object_type)
{
    for (const auto &row : network_types)
        if (same_word(row.object_type, object_type))
            return row.network_type;
    return "DNSname";
}

} // namespace

address_parts flatlink::split_address(const std::string &text)
{
    std::size_t pos = text.find_first_not_of("0123456789.");
    if (pos == std::string::npos || (text[pos] != ':' && text[pos] != '-'))
        return {text, {}};
    return {text.substr(0, pos), text.substr(pos + 1)};
}

// ---- the lines of one link

static void feed_networks(const link_feeder &out, const link_side &remote, const link_side &local)
{
    const auto feed_side = [&out](value_source source, const link_side &side,
                                  std::array<std::string_view, 3> fields) {
        const address_parts parts = split_address(side.text);
        out.feed_from(source, nullptr, fields[0], parts.first);
        out.feed_from(source, nullptr, fields[1], parts.second);
        out.feed_from(source, nullptr, fields[2], network_type(side.type));
    };
    feed_side(value_source::REMOTE_SIDE, remote,
              {"rnetwork_start_address", "rnetwork_delimiter", "rnetwork_type"});
    feed_side(value_source::LOCAL_SIDE, local,
              {"lnetwork_start_address", "lnetwork_delimiter", "lnetwork_type"});
}

static void feed_client(const link_feeder &out, frag **db, const peer_values &peer)
{
    constexpr auto PROGRAM = value_source::PROGRAM;
    out.feed_from(PROGRAM, nullptr, "lname", std::string("~") + peer.peer()->name);
    out.feed_from(PROGRAM, nullptr, "fixed_remote", "Off");
    out.feed_from(PROGRAM, nullptr, "auth", "Certificate based");
    out.feed_if("modecfg", peer.value("vip"));
    out.feed_certificate(peer);
    out.feed_children(vpnclient_map, peer);
    out.feed_name("modecfg", db, peer.value("vip"));
}

static void feed_network_peer(const link_feeder &out, frag **db, const peer_values &peer,
                              const std::string &name)
{
    out.feed_from(value_source::PEER, "name", "lname", "~" + name);
    out.feed("gateway", name_of_sgo_object(db, peer.peer()));
    out.feed_from(value_source::PROGRAM, nullptr, "fixed_remote", "On");
    out.feed_if("auth", peer.value("auth"));
    out.feed_if("df_bit", peer.value("df"));
    out.feed_name("ikepolicy", db, peer.value("ike"));
    out.feed_if("secret", peer.value("secret"));
    out.feed_certificate(peer);
    out.feed_children(sgo_map, peer);
}

// Numbers of links have 16 bits; a link beyond them is counted.
static bool has_number_left(const frag *vpnobj)
{
    if (linkno < MAX_LINKS)
        return true;
    if (++derivation.unnumbered_links == 1)
        SendLog(servContext, connContext, UNIQUE_DATA, REPORT_NOTICE,
                "vhltcfgerr: The rules imply more than %d links; the rest is left out.", MAX_LINKS);
    note_bound("links", MAX_LINKS, derivation.unnumbered_links == 1 ? walk_place(vpnobj) : "",
               MAX_LINKS + derivation.unnumbered_links);
    return false;
}

// What a link takes besides its text: its lines, and the look-ups of what the peer names.
static bool may_make_link(const peer_values &peer)
{
    long long steps = 500;
    for (const char *key : {"ip-address", "ike", "ipsec", "vip"})
        steps += static_cast<long long>(text_of(peer.value(key)).size());
    return take_steps(steps, peer.peer());
}

void flatlink::make_link(frag **db, frag *vpnobj, const std::string &name, const link_side &remote,
                         const link_side &local)
{
    const peer_values peer(vpnobj);
    if (!has_number_left(vpnobj) || !may_make_link(peer))
        return;
    ++linkno;
    const link_feeder out;
    note_link(vpnobj);
    out.feed_from(value_source::PEER, "name", "description", name);
    feed_networks(out, remote, local);
    if (is_of_type(vpnobj, "vpnclient"))
        feed_client(out, db, peer);
    else
        feed_network_peer(out, db, peer, name);
    out.feed_name("ipsecpolicy", db, peer.value("ipsec"));
    constexpr auto RULE = value_source::RULE;
    out.feed_from(RULE, "loglevel_number", "logging", std::to_string(ruleloglevel));
    out.feed_from(RULE, "number", "rulenumber", std::to_string(rulenumber));
    if (rulelabel != nullptr)
        out.feed_from(RULE, "rulelabel", "rulelabel", rulelabel);
    if (nestinglevel != 0)
        out.feed_from(value_source::PROGRAM, nullptr, "nesting-level",
                      std::to_string(nestinglevel));
}
