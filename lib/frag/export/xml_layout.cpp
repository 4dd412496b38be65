#include "lib/frag/export/xml_layout.h"

#include "lib/frag/layout/norm_list.h"
#include "lib/frag/tree/frag_list.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_text.h"
#include "lib/frag/tree/name_index.h"
#include "lib/ulib/text.h"

#include <cstring>
#include <string>
#include <vector>

using namespace flatlink;

namespace
{

constexpr const char *NAME_KEY = "attrs_name";
constexpr const char *GROUP_KEY = "attrs_gname";
constexpr const char *ITEM_KEY = "attrs_item";
constexpr const char *SEQUENCE_KEY = "attrs_seq";

constexpr const char *UNKNOWN_TYPE = "unknown";

// A list that becomes a run of elements.
struct xml_list {
    const char *parent; // null at the top of the tree
    const char *name;
    const char *attr_key; // where an element keeps the name of the entry that it was
    bool is_sorted;
    const char *element; // name of the elements
};

// The interface lists come last: each of them holds a list again.
constexpr xml_list xml_lists[] = {
    {"destination", "destobj", SEQUENCE_KEY, true, "destobj"},
    {"rule", "proxy", SEQUENCE_KEY, true, "proxyrule"},
    {"rule", "pffwd", SEQUENCE_KEY, true, "fwdrule"},
    {"rule", "pflcl", SEQUENCE_KEY, true, "lclrule"},
    {"auth", "obj", NAME_KEY, false, "obj"},
    {nullptr, "lpf-serv", NAME_KEY, false, "lpf-serv"},
    {nullptr, "fpf-serv", NAME_KEY, false, "fpf-serv"},
    {"netobj", "list", NAME_KEY, false, "iflist"},
};

// Nodes whose children, but for groups, are such lists.
constexpr const char *list_owners[] = {"net", "netx"};

// The list that the node of a row is in; null if its parent is missing.
frag **list_with(frag **head, const xml_list &row)
{
    if (row.parent == nullptr)
        return head;
    frag *parent = ffind(head, row.parent);
    return parent == nullptr ? nullptr : &parent->child;
}

bool is_group(const frag *node)
{
    return same_word(node->name, "group");
}

} // namespace

// ---- to the shape that is written

static void shape_owned_lists(frag **head, const char *owner_key)
{
    const frag *owner = ffind(head, owner_key);
    if (owner == nullptr)
        return;
    for (frag *list = owner->child, *next = nullptr; list != nullptr; list = next) {
        next = list->next; // the list's elements are inserted before it
        if (!is_group(list))
            norm_list(head, list, NAME_KEY, 0, nullptr);
    }
}

static void shape_interface_lists(frag **head)
{
    for (frag *list = ffind(head, "netobj_iflist");
         list != nullptr && same_word(list->name, "iflist"); list = list->next)
        if (frag *element = ffind(&list->child, "element"))
            norm_list(head, element, ITEM_KEY, 1, nullptr);
}

void flatlink::shape_for_xml(frag **head)
{
    for (const char *owner : list_owners)
        shape_owned_lists(head, owner);
    for (const xml_list &row : xml_lists) {
        frag **list = list_with(head, row);
        frag *node = list == nullptr ? nullptr : ffind(list, row.name);
        if (node != nullptr)
            norm_list(head, node, row.attr_key, row.is_sorted ? 1 : 0, row.element);
    }
    shape_interface_lists(head);
    norm_groups(head, *head);
    norm_groups2(head, *head);
    (void)norm_xml(head); // without proxies there is nothing to group
}

static void shape_config_sets(frag *proxy)
{
    const frag *sets = ffind(&proxy->child, "config-sets");
    if (sets == nullptr)
        return;
    for (frag *set = sets->child; set != nullptr; set = set->next) {
        fsetp(&set->child, NAME_KEY, fragname(set), set);
        renamefrag(set, "config-set");
    }
}

int norm_xml(frag **head)
{
    del_frag(head, "proxy");
    frag *groups = fset(head, "proxy", nullptr);
    const frag_ptr proxies = take_frag(head, "def_proxy");
    if (proxies == nullptr)
        return 1;
    frag *rest = take_children(proxies.get());
    while (frag *taken = pop_front(rest)) {
        const frag_ptr proxy(taken);
        const frag_ptr type = take_frag(&proxy->child, "proxy-type");
        const bool has_type = type != nullptr && type->value != nullptr;
        frag *element = add_child(groups, has_type ? type->value : UNKNOWN_TYPE);
        give_children(element, take_children(proxy.get()));
        frag *attrs = add_child(element, "attrs");
        fset_list(&attrs, "name", fragname(proxy.get()));
        shape_config_sets(element);
    }
    return 0;
}

// ---- and back

static int take_names(frag *first, const char *attr_key)
{
    for (frag *node = first; node != nullptr; node = node->next) {
        if (const char *name = fval(&node->child, attr_key))
            renamefrag(node, name);
        del_frag(&node->child, "attrs");
    }
    return 0;
}

int xml_rename_list(frag *first)
{
    return take_names(first, NAME_KEY);
}

int xml_regname_list(frag *first)
{
    return take_names(first, GROUP_KEY);
}

int xml_renumber_list(frag *first)
{
    return take_names(first, ITEM_KEY);
}

int xml_resequence_list(frag *first)
{
    return take_names(first, SEQUENCE_KEY);
}

// Replaces the whole tree by the children of a top-level node.
static void replace_by_children(frag **head, frag *node)
{
    frag *children = take_children(node);
    make_parent(nullptr, children);
    free_fraglist(head);
    *head = children;
}

static bool is_marked(frag *node, const char *attr_key)
{
    return fval(&node->child, attr_key) != nullptr;
}

// Turns an element back into its entry. The mark is its stored name and must not be escaped again.
static frag *entry_of(frag *element, const char *attr_key)
{
    frag *entry = newsymfrag(fval(&element->child, attr_key));
    give_children(entry, take_children(element));
    del_frag(&entry->child, attr_key);
    del_frag_if_empty(&entry->child, "attrs");
    return entry;
}

// Makes one list of a marked element and the marked ones of its name that follow.
static void join_run(frag **siblings, frag *first, const char *attr_key, const char *list_name)
{
    drop_name_index(siblings);
    std::vector<frag *> entries{entry_of(first, attr_key)};
    for (frag *next = first->next;
         next != nullptr && std::strcmp(next->name, first->name) == 0 && is_marked(next, attr_key);
         next = first->next) {
        first->next = next->next;
        next->is_unlisted = 1;
        const frag_ptr gone(next);
        entries.push_back(entry_of(next, attr_key));
    }
    for (; !entries.empty(); entries.pop_back())
        push_child(first, entries.back());
    if (list_name != nullptr)
        renamefrag(first, list_name);
}

static void join_if_marked(frag **siblings, const char *name, const char *attr_key,
                           const char *list_name)
{
    frag *first = ffind(siblings, name);
    if (first != nullptr && is_marked(first, attr_key))
        join_run(siblings, first, attr_key, list_name);
}

static void join_interface_lists(frag **head)
{
    for (frag *list = ffind(head, "netobj_iflist");
         list != nullptr && std::strcmp(list->name, "iflist") == 0; list = list->next)
        join_if_marked(&list->child, "element", ITEM_KEY, nullptr);
}

static void join_owned_lists(frag **head, const char *owner_key)
{
    frag *owner = ffind(head, owner_key);
    if (owner == nullptr)
        return;
    for (frag *list = owner->child; list != nullptr; list = list->next)
        if (!is_group(list) && is_marked(list, NAME_KEY))
            join_run(&owner->child, list, NAME_KEY, nullptr);
}

// Groups can stand anywhere, and hold groups.
static void join_groups(frag **head)
{
    std::vector<frag **> open{head};
    while (!open.empty()) {
        frag **siblings = open.back();
        open.pop_back();
        for (frag *node = *siblings; node != nullptr; node = node->next) {
            if (is_group(node) && is_marked(node, GROUP_KEY)) {
                join_run(siblings, node, GROUP_KEY, nullptr);
                for (frag *entry = node->child; entry != nullptr; entry = entry->next)
                    join_if_marked(&entry->child, "elem", SEQUENCE_KEY, nullptr);
            }
            if (node->child != nullptr)
                open.push_back(&node->child);
        }
    }
}

// Removes the line break and indentation before a child element, which were read as part of the
// value.
static void cut_indentation(frag *first)
{
    std::vector<frag *> open{first};
    while (!open.empty()) {
        frag *node = open.back();
        open.pop_back();
        for (; node != nullptr; node = node->next) {
            if (node->child == nullptr)
                continue;
            open.push_back(node->child);
            if (node->value != nullptr)
                while (node->vlen > 0 && is_wscrlf(node->value[node->vlen - 1]))
                    node->value[--node->vlen] = '\0';
        }
    }
}

// Returns false if there is no `proxy`.
static bool canon_xml_proxies(frag **head)
{
    const frag_ptr groups = take_frag(head, "proxy");
    if (groups == nullptr)
        return false;
    frag *proxies = fset(head, "def_proxy", nullptr);
    frag *rest = take_children(groups.get());
    for (frag *element = rest; element != nullptr; element = element->next)
        if (std::strcmp(element->name, UNKNOWN_TYPE) != 0)
            fsetp(&element->child, "proxy-type", fragname(element), element);
    make_parent(proxies, rest);
    xml_rename_list(rest);
    while (frag *proxy = pop_front(rest)) {
        if (const frag *sets = ffind(&proxy->child, "config-sets"))
            xml_rename_list(sets->child);
        push_child(proxies, proxy);
    }
    return true;
}

int canon_xml(frag **head)
{
    const steady_lists steady;
    frag *document = ffind(head, "?xml");
    if (document == nullptr)
        return 0;
    del_frag(&document->child, "attrs");
    replace_by_children(head, document);
    // The writer's root, and the form of it that has an escape.
    for (const char *root : {"varnholt%5Fconf", "varnholt.conf"}) {
        if (*head != nullptr && std::strcmp((*head)->name, root) == 0) {
            replace_by_children(head, *head);
            break;
        }
    }
    cut_indentation(*head);
    if (!canon_xml_proxies(head))
        return 0;

    join_groups(head);
    join_interface_lists(head);
    for (const xml_list &row : xml_lists)
        if (frag **list = list_with(head, row))
            join_if_marked(list, row.element, row.attr_key, row.name);
    for (const char *owner : list_owners)
        join_owned_lists(head, owner);
    return 0;
}
