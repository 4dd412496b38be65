#include "flatlink/records/link_fields.h"

#include <span>

#include "flatlink/records/names.h"
#include "lib/ulib/text.h"

static bool store_name_of(std::span<const peer_field> fields, peerauth &peer, std::string_view key,
                          std::string_view value)
{
    for (const peer_field &field : fields) {
        if (field.key == key) {
            peer.*field.text = value;
            return true;
        }
    }
    return false;
}

bool store_certificate_name(peerauth &peer, std::string_view key, std::string_view value)
{
    return store_name_of(subject_fields, peer, key, value) ||
           store_name_of(issuer_fields, peer, key, value);
}

void save_certificate_names(const record_writer &out, const peerauth &peer)
{
    for (const peer_field &field : subject_fields)
        out.text_if_set(field.key, peer.*field.text);
    out.text("san_type", peer.san_type != 0 ? parsenumtoname(san_list, peer.san_type)
                                            : std::string_view("Don't check"));
    for (const peer_field &field : issuer_fields)
        out.text_if_set(field.key, peer.*field.text);
}

void store_modecfg(std::int32_t &mode, std::string &name, std::string_view value)
{
    name.clear();
    if (same_word(value, "Any")) {
        mode = MODECFG_ANY;
    } else if (same_word(value, "None")) {
        mode = MODECFG_NONE;
    } else {
        mode = MODECFG_NAMED;
        name = value;
    }
}

void save_modecfg(const record_writer &out, std::int32_t mode, const std::string &name)
{
    const bool is_named = mode > 0 && !name.empty();
    out.text("modecfg", mode < 0 ? std::string_view("Any") : is_named ? name : "None");
}
