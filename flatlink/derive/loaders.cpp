#include "flatlink/derive/loaders.h"

#include "flatlink/derive/derivation_watch.h"
#include "flatlink/records/decoder.h"
#include "flatlink/records/ike_policy.h"
#include "flatlink/records/interfaces.h"
#include "flatlink/records/ipsec_policy.h"
#include "flatlink/records/line.h"
#include "lib/frag/objects/netobj.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/text.h"

#include <span>
#include <string>

using namespace flatlink;

namespace
{

// A key of the tree and the key of the flat file that takes its place.
struct key_map_row {
    const char *tree_key;
    std::string_view flat_key;
};

constexpr key_map_row ikenamemap[] = {
    {"dh", "diffie-helman"},
    {"cipher", "encryption"},
    {"keys", "key_count"},
};

constexpr key_map_row ipsecnamemap[] = {
    {"ah", "ah_hash"},
    {"hash", "esp_hash"},
    {"cipher", "esp_encryption"},
    {"ippcp", "ipcomp_algorithm"},
    {"lifetime", "lifetime_minutes"},
    {"transfer-limit", "lifetime_mb"},
    {"allow-pfs", "pfs"},
};

constexpr key_map_row settings_map[] = {
    {"aggressive-mode", "aggressivemode"},
    {"ike", "clientIKEpolicy"},
    {"ike-acceleration", "useracceleration"},
    {"ipsec-acceleration", "kernelacceleration"},
    {"anonsecret", "anonsecret"},
};

// In the order in which they take numbers. The first is one name with an escaped underscore, the
// second a path, as older files spell it.
constexpr const char *interface_lists[] = {
    "netobj_list_all%5Finterfaces",
    "netobj_list_all_interfaces",
    "netobj_list_Outside",
    "netobj_list_Heartbeat",
};

// What differs between the two kinds of policies: fields of a policy, each with the key of the
// tree, in the order of their lines; names of a proposal's keys; the parser.
struct policy_kind {
    std::span<const key_map_row> policy_fields;
    std::span<const key_map_row> proposal_names;
    int (*add_partial)(std::string_view rest);
};

constexpr key_map_row ike_fields[] = {{"name", "name"}, {"description", "description"}};

// The policy's pfs is a group; a proposal says with allow-pfs whether it uses it.
constexpr key_map_row ipsec_fields[] = {
    {"name", "name"}, {"description", "description"}, {"pfs", "group"}};

constexpr policy_kind ike_kind{ike_fields, ikenamemap, add_partial_ikepol};
constexpr policy_kind ipsec_kind{ipsec_fields, ipsecnamemap, add_partial_ipsecpol};

// The flat key for a key of the tree, in any case of letters; itself if no row has it.
std::string_view flat_key_of(std::span<const key_map_row> rows, std::string_view tree_key)
{
    for (const key_map_row &row : rows)
        if (same_word(row.tree_key, tree_key))
            return row.flat_key;
    return tree_key;
}

int load_policy(frag *policy, const policy_kind &kind)
{
    const std::string prefix = std::string(policy->name) + "_";
    for (const key_map_row &field : kind.policy_fields)
        if (const char *value = child_value(policy, field.tree_key))
            (void)kind.add_partial(make_line(prefix, field.flat_key, value));
    const frag *select = ffind(&policy->child, "select");
    if (select == nullptr)
        return 0;
    for (const frag *prop = select->child; prop != nullptr; prop = prop->next) {
        const std::string prop_prefix = prefix + "prop_" + prop->name + "_";
        for (const frag *field = prop->child; field != nullptr; field = field->next)
            if (field->value != nullptr && field->value[0] != '\0') {
                note_expands(value_source::READ, field);
                note_found(field);
                (void)kind.add_partial(make_line(
                    prop_prefix, flat_key_of(kind.proposal_names, field->name), field->value));
            }
    }
    note_expands(value_source::PROGRAM, nullptr);
    return 0;
}

} // namespace

int load_ike(frag *policy)
{
    return load_policy(policy, ike_kind);
}

int load_ipsec(frag *policy)
{
    return load_policy(policy, ipsec_kind);
}

int load_settings(frag *node)
{
    for (const key_map_row &row : settings_map)
        if (const char *value = child_value(node, row.tree_key))
            (void)decode_vpn_buffer(make_line("vpn_", row.flat_key, value));
    return 0;
}

int load_interfaces(frag *list)
{
    static int listno = 1; // a list keeps its number for the life of the process
    const frag *elements = ffind(&list->child, "element");
    const frag *element = elements == nullptr ? nullptr : elements->child;
    for (; element != nullptr; element = element->next) {
        const int elemno = lenient_number(element->name);
        for (const frag *field = element->child; field != nullptr; field = field->next)
            if (field->value != nullptr) {
                note_expands(value_source::READ, field);
                note_found(field);
                add_partial_intf(listno, elemno, field->name, field->value);
            }
    }
    ++listno;
    return 0;
}

void flatlink::load_interface_lists(frag **tree)
{
    for (const char *key : interface_lists)
        if (frag *list = ffind(tree, key))
            load_interfaces(list);
}

void build_interface_list(frag **tree)
{
    load_interface_lists(tree);
    finish_intfs();
}
