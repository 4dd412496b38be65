#include "lib/frag/layout/norm.h"

#include "lib/frag/layout/layout_tables.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/ulib/text.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace flatlink;

int norm_netobj(frag *first, const char *list_key, const char *count_key)
{
    int number = 1;
    for (frag *object = first; object != nullptr; object = object->next) {
        fsetp(&object->child, "name", fragname(object), object);
        rename_to_number(object, number++);
        frag *list = ffind(&object->child, list_key);
        if (list == nullptr)
            continue;
        sort_frags(&list->child);
        set_number(&object->child, count_key, number_list(list->child), object);
    }
    return number;
}

void flags_to_name(frag *node, frag *name_node)
{
    std::string_view rest = text_of(name_node->value);
    node->flags |= take_access_prefixes(rest, FRAG_PERMIT | FRAG_DENY);
    std::string text;
    if (node->flags & FRAG_PERMIT)
        text += "permit-";
    if (node->flags & FRAG_DENY)
        text += "deny-";
    text += rest;
    set_frag_value(name_node, text.data(), text.size());
}

// The name of a parameter as files spell it.
static std::string file_name(const frag *parm)
{
    return std::string(attr_revmap(fragname(parm)));
}

static bool is_family(const frag *parm)
{
    for (const frag *child = parm->child; child != nullptr; child = child->next)
        if (is_digit(child->name[0]))
            return true;
    return false;
}

// Enters each child of a family, named by the family and itself.
static void norm_family(frag *list, const frag *family, std::int64_t &number)
{
    const std::string family_name = file_name(family) + "_";
    for (frag *member = family->child; member != nullptr; member = member->next) {
        frag *entry = add_child(list, std::to_string(++number));
        const std::string full_name = family_name + member->name;
        frag *name = fsetp(&entry->child, "name", full_name.c_str(), entry);
        fsetp(&entry->child, "value", member->value, entry);
        flags_to_name(member, name);
    }
}

// Enters one parameter; its node becomes the entry's `value`.
static void norm_single(frag *list, frag *parm, std::int64_t number)
{
    frag *entry = add_child(list, std::to_string(number));
    frag *name = fsetp(&entry->child, "name", file_name(parm).c_str(), entry);
    rename_unlinked(parm, "value");
    push_child(entry, parm);
    flags_to_name(parm, name);
    parm->flags = 0;
}

int norm_parm(frag *node, const char *list_name, const char *count_key, int /*spare*/)
{
    const frag_ptr old_list = take_frag(&node->child, list_name);
    frag *rest = take_children(old_list != nullptr ? old_list.get() : node);
    frag *list = fsetp(&node->child, list_name, nullptr, node);
    std::int64_t number = 0;
    while (frag *parm = pop_front(rest)) {
        if (is_family(parm)) {
            norm_family(list, parm, number);
            freefrag(parm);
        } else {
            norm_single(list, parm, ++number);
        }
    }
    set_number(&node->child, count_key, number, node);
    return 0;
}

static void norm_ip32_side(frag **head, frag *ip, const ip_var_row &row)
{
    frag *entry = ffind2(head, row.list_key, "1");
    const char *address = entry == nullptr ? nullptr : fval(&entry->child, "addr");
    if (address == nullptr || *address == '\0') {
        fset_list(&ip, row.address, row.no_address);
        return;
    }
    const struct {
        const char *key;
        const char *to;
    } parts[] = {
        {"addr", row.address},        {"netmask", row.mask},
        {"interface", row.interface}, {"interfaceflags", row.interface_flags},
        {"broadcast", row.broadcast},
    };
    for (const auto &[key, to] : parts)
        if (const char *value = fval(&entry->child, key))
            fset_list(&ip, to, value);
}

void norm_ip32(frag **head)
{
    frag *ip = ffind(head, "ip");
    if (ip == nullptr)
        return;
    for (const ip_var_row &row : ip_var_tab)
        norm_ip32_side(head, ip, row);
}

int norm_renumber(frag **head, const char *list_key, const char *count_key, const char *delete_key)
{
    if (delete_key != nullptr)
        del_frag(head, delete_key);
    frag *list = ffind(head, list_key);
    std::int64_t count = 0;
    if (list != nullptr) {
        sort_frags(&list->child);
        count = number_list(list->child);
    }
    if (count_key != nullptr)
        set_number(head, count_key, count);
    if (list != nullptr)
        sort_frags(&list->child); // the counter may have been added to the list
    return 0;
}

// Removes the fields from a rule and joins them.
static std::string pack_rule(frag *rule)
{
    std::string packed;
    const char *joint = "";
    for (const char *key : pfkeynames) {
        packed += std::exchange(joint, "+");
        const frag_ptr field = take_frag(&rule->child, key);
        if (field != nullptr)
            packed += text_of(field->value);
    }
    if (packed.size() > PACKED_RULE_SIZE)
        packed.resize(PACKED_RULE_SIZE);
    return packed;
}

// Sets the packed texts by the keys of their rules, prefix included: the first node of that name
// gets the text, even if that is an older rule which had the name before. Runs after all renaming,
// so that the list's index is built once.
static void set_packed(frag **head, const frag *list,
                       const std::vector<std::pair<std::string, std::string>> &packed)
{
    if (packed.empty())
        return;
    const std::string list_key = fragkeyname(list);
    frag *found = find_or_make(head, list_key.c_str());
    for (const auto &[name, text] : packed)
        fsetp(&found->child, name.c_str(), text.c_str(), found);
}

int norm_pfrules(frag **head, const char *list_key, const char *count_key)
{
    frag *list = ffind(head, list_key);
    if (list == nullptr)
        return 0;
    del_frag(head, count_key);
    sort_frags(&list->child);
    std::vector<std::pair<std::string, std::string>> packed; // the name with its prefix, the text
    for (frag *rule = list->child; rule != nullptr; rule = rule->next) {
        if (std::string_view(fragname(rule)).starts_with("rule"))
            continue;
        renamefrag(rule, ("rule" + std::to_string(packed.size() + 1)).c_str());
        packed.emplace_back(std::string(shown_prefix(rule)) + rule->name, pack_rule(rule));
    }
    set_packed(head, list, packed);
    set_number(head, count_key, static_cast<std::int64_t>(packed.size()));
    return 0;
}

int norm_vpndata(frag **head, const char *key)
{
    frag *list = ffind(head, key);
    if (list == nullptr)
        return 0;
    sort_frags(&list->child);
    int number = 0;
    for (frag *node = list->child; node != nullptr; node = node->next) {
        if (!is_digit(node->name[0])) // a counter, or a setting of them all
            continue;
        std::array<char, 16> name{};
        std::snprintf(name.data(), name.size(), "%04d", ++number);
        renamefrag(node, name.data());
    }
    sort_frags(&list->child);
    return 0;
}
