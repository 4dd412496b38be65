// Fields that both forms of links have: the certificate names of a peer, listed once for
// parsers, writers, the sort and the loaders, and the choice of a pool.
#pragma once

#include "flatlink/records/field.h"
#include "flatlink/records/memory_guard.h"
#include "flatlink/records/names.h"
#include "flatlink/records/records.h"

#include <string_view>

namespace flatlink
{

struct certificate_name {
    std::string_view key;
    std::string peerauth::*text;
    std::uint8_t sort_bit;  // bit of its half in the order of client links
    const char *object_key; // child of a VPN object in the tree that holds it
};

inline constexpr certificate_name subject_names[] = {
    {"scn", &peerauth::scn, 0x40, "scn"},
    {"so", &peerauth::so, 0x10, "son"},
    {"sou", &peerauth::sou, 0x20, "sou"},
    {"sc", &peerauth::sc, 0x01, "sc"},
    {"sst", &peerauth::sst, 0x02, "sst"},
    {"sl", &peerauth::sl, 0x04, "sl"},
    {"ssa", &peerauth::ssa, 0x08, "ssa"},
    {"san_content", &peerauth::san_content, 0x80, "san-content"},
};

inline constexpr certificate_name issuer_names[] = {
    {"icn", &peerauth::icn, 0x40, "icn"}, {"io", &peerauth::io, 0x10, "ion"},
    {"iou", &peerauth::iou, 0x20, "iou"}, {"ic", &peerauth::ic, 0x01, "ic"},
    {"ist", &peerauth::ist, 0x02, "ist"}, {"il", &peerauth::il, 0x04, "il"},
    {"isa", &peerauth::isa, 0x08, "isa"},
};

// One row a name. `no_memory` is what a failed allocation prints, null: what the family says.
template <const auto &names> constexpr auto name_rows(const char *no_memory)
{
    return [no_memory]<std::size_t... i>(std::index_sequence<i...>)
    {
        return std::array<field<peerauth>, sizeof...(i)>{
            field<peerauth>{names[i].key, as<if_set<as_text>, names[i].text>, 0, no_memory}...};
    }
    (std::make_index_sequence<std::size(names)>());
}

inline constexpr std::string_view NO_SAN_CHECK = "Don't check";

// The subject's names, the kind of its alternative name, and the issuer's names.
inline constexpr auto certificate_fields = joined<peerauth>(
    name_rows<subject_names>(nullptr),
    std::array{field<peerauth>{"san_type",
                               as<word_unless_zero<san_list, NO_SAN_CHECK>, &peerauth::san_type>}},
    name_rows<issuer_names>(MALLOC_FAILURE));

// What a modecfg line says: any pool, none, or one by name.
template <auto mode, auto name>
inline constexpr form<owner_type<mode>> pool_choice{
    [](owner_type<mode> &link, std::string_view value) {
        const bool is_any = same_word(value, "Any");
        const bool is_named = !is_any && !same_word(value, "None");
        link.*name = is_named ? value : std::string_view();
        link.*mode = is_any ? MODECFG_ANY : is_named ? MODECFG_NAMED : MODECFG_NONE;
    },
    [](const owner_type<mode> &link) -> printed {
        if (link.*mode < 0)
            return "Any";
        if (link.*mode == 0 || (link.*name).empty())
            return "None";
        return link.*name;
    },
    by<mode>};

} // namespace flatlink
