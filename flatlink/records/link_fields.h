// Fields that both forms of links have. The certificate names of a peer are one row a field, in
// the order in which they are written; parsers, writers and the sort read these rows.
#pragma once

#include <string_view>

#include "flatlink/records/line.h"
#include "flatlink/records/records.h"

struct peer_field {
    std::string_view key;
    std::string peerauth::*text;
    std::uint8_t sort_bit; // bit of its half in the order of client links
};

inline constexpr peer_field subject_fields[] = {
    {"scn", &peerauth::scn, 0x40}, {"so", &peerauth::so, 0x10},
    {"sou", &peerauth::sou, 0x20}, {"sc", &peerauth::sc, 0x01},
    {"sst", &peerauth::sst, 0x02}, {"sl", &peerauth::sl, 0x04},
    {"ssa", &peerauth::ssa, 0x08}, {"san_content", &peerauth::san_content, 0x80},
};

inline constexpr peer_field issuer_fields[] = {
    {"icn", &peerauth::icn, 0x40}, {"io", &peerauth::io, 0x10},   {"iou", &peerauth::iou, 0x20},
    {"ic", &peerauth::ic, 0x01},   {"ist", &peerauth::ist, 0x02}, {"il", &peerauth::il, 0x04},
    {"isa", &peerauth::isa, 0x08},
};

// Stores a certificate name; false when `key` is none.
bool store_certificate_name(peerauth &peer, std::string_view key, std::string_view value);

// Writes the subject's names, the kind of the alternative name, and the issuer's names.
void save_certificate_names(const record_writer &out, const peerauth &peer);

// Stores what a modecfg line says: any pool, none, or one by name.
void store_modecfg(std::int32_t &mode, std::string &name, std::string_view value);
void save_modecfg(const record_writer &out, std::int32_t mode, const std::string &name);
