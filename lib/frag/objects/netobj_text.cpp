#include "lib/frag/objects/netobj_text.h"

#include "lib/frag/objects/netobj.h"
#include "lib/frag/objects/object_run.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <cstring>
#include <string_view>

using namespace flatlink;

namespace
{

// What a walk of one object needs besides the object.
struct text_walk {
    frag **db;
    const text_callback &callback;
    peer_path peers = {};

    int give(const char *text) const
    {
        if (text != nullptr) // that of a null key
            (void)take_steps(text_steps(strnlen(text, OBJECT_TEXT_SIZE)), nullptr);
        return callback(nullptr, text);
    }
};

using text_of_type = int (*)(text_walk &walk, frag *obj, const char *key);

struct type_row {
    const char *type;
    text_of_type give;
};

} // namespace

static int text_of_object(text_walk &walk, frag *obj, const char *key);

static int give_addr(text_walk &walk, frag *obj, const char *key)
{
    const char *addr = child_value(obj, "addr");
    if (addr == nullptr)
        note_absent(obj, "addr");
    return walk.give(addr != nullptr ? addr : key);
}

// Cuts a text to the longest that is kept of it.
static void cut_to(std::string &text, std::size_t size)
{
    if (text.size() <= size)
        return;
    text.resize(size);
    note_text_cut(text);
}

// The address of the object that a child names; null for none.
static const char *address_of_child(const text_walk &walk, frag *obj, const char *child)
{
    const char *key = child_value(obj, child);
    if (key == nullptr)
        note_absent(obj, child);
    frag *named = find_object(walk.db, key, obj);
    const char *addr = child_value(named, "addr");
    if (addr == nullptr && named != nullptr)
        note_absent(named, "addr");
    return addr;
}

// Joins the addresses of the objects that two children name, with `mark` between them. If only one
// is there, its address is the text.
static int give_pair(text_walk &walk, frag *obj, const char *first_key, const char *second_key,
                     char mark)
{
    const char *first = address_of_child(walk, obj, first_key);
    const char *second = address_of_child(walk, obj, second_key);
    if (first == nullptr && second == nullptr)
        return 0;
    if (first == nullptr || second == nullptr)
        return walk.give(first != nullptr ? first : second);
    std::string text(first, strnlen(first, OBJECT_TEXT_SIZE + 1));
    text += mark;
    text.append(second, strnlen(second, OBJECT_TEXT_SIZE + 1));
    cut_to(text, OBJECT_TEXT_SIZE);
    return walk.give(text.c_str());
}

static int give_range(text_walk &walk, frag *obj, const char * /*key*/)
{
    return give_pair(walk, obj, "start", "end", '-');
}

static int give_network(text_walk &walk, frag *obj, const char * /*key*/)
{
    return give_pair(walk, obj, "addr", "mask", ':');
}

static int give_pattern(text_walk &walk, frag *obj, const char * /*key*/)
{
    const char *pattern = child_value(obj, "pat");
    if (pattern == nullptr)
        note_absent(obj, "pat");
    return pattern == nullptr ? 0 : walk.give(pattern);
}

static int give_peer(text_walk &walk, frag *obj, const char *key)
{
    if (walk.peers.leads_back_to(obj)) {
        report_recursive(obj);
        return 0;
    }
    const open_object level(obj, false);
    if (!level.entered || !take_steps(1, obj))
        return 0;
    walk.peers.enter(obj);
    if (!same_word(text_of(child_value(obj, "include-sgo")), "off")) {
        frag *gateway = find_object(walk.db, child_value(obj, "ip-address"), obj);
        if (gateway != nullptr)
            (void)text_of_object(walk, gateway, key); // the network's result counts for the peer
    }
    frag *network = find_object(walk.db, child_value(obj, "network"), obj);
    const int result = network == nullptr ? walk.give(key) : text_of_object(walk, network, key);
    walk.peers.leave();
    return result;
}

static int give_client(text_walk &walk, frag *obj, const char * /*key*/)
{
    std::string text = std::string("~") + obj->name;
    cut_to(text, OBJECT_TEXT_SIZE);
    return walk.give(text.c_str());
}

static int give_group(text_walk &walk, frag *obj, const char *key)
{
    frag *elem = ffind(&obj->child, "elem");
    if (elem == nullptr || elem->child == nullptr)
        return 0;
    const walk_mark mark(obj);
    const open_object level(obj, true);
    if (!mark.entered || !level.entered)
        return 0;
    int result = 0;
    member_list members(walk.db, &elem->child);
    while (const list_member *member = members.next()) {
        if (member->node->flags & FRAG_WALKED)
            continue;
        const walk_mark member_mark(member->node);
        if (!member_mark.entered)
            continue;
        const char *name = member->name == nullptr ? nullptr : member->name->value;
        if (name == nullptr)
            note_absent(member->node, "obj");
        result = name != nullptr ? text_of_object(walk, member->obj, name)
                                 : text_of_object(walk, nullptr, key);
    }
    return result;
}

static constexpr type_row type_rows[] = {
    {"ipaddr", give_addr},     {"email", give_addr},       {"dns", give_addr},
    {"iprange", give_range},   {"ipnet", give_network},    {"pattern", give_pattern},
    {"vpnnetwork", give_peer}, {"vpnclient", give_client}, {"group", give_group},
};

static int text_of_object(text_walk &walk, frag *obj, const char *key)
{
    if (obj != nullptr && (obj->flags & FRAG_WALKED)) {
        report_recursive(obj);
        return 0;
    }
    const std::string_view type = type_of_key(obj);
    for (const type_row &row : type_rows)
        if (same_word(type, row.type))
            return row.give(walk, obj, key);
    // Not an object of a known type: pass a literal address through.
    if (obj != nullptr)
        note_unfit(obj);
    return walk.give(key);
}

int enum_netobj6(frag **db, frag *obj, const char *key, const text_callback &callback)
{
    text_walk walk{db, callback};
    return text_of_object(walk, obj, key);
}

// ---- the older form

// The group that a key names after its "$$NETOBJ." mark; `is_marked` receives whether it has one.
static frag *marked_group(frag **db, const char *key, bool &is_marked)
{
    constexpr std::string_view GROUP_MARK = "$$NETOBJ.";
    is_marked = text_of(key).starts_with(GROUP_MARK);
    return is_marked ? ffind2(db, "netobj_group", key + GROUP_MARK.size()) : nullptr;
}

int enum_netobj(frag **db, const char *key, const text_callback &callback)
{
    bool is_marked = false;
    frag *group = marked_group(db, key, is_marked);
    if (is_marked)
        return group == nullptr ? 1 : enum_netgroup(db, group, key, callback);
    return enum_netobj6(db, ffind(db, key), key, callback);
}

int enum_netobj42(frag **db, const char *key, const text_callback &callback)
{
    bool is_marked = false;
    frag *group = marked_group(db, key, is_marked);
    if (is_marked)
        return group == nullptr ? 1 : enum_netgroup(db, group, key, callback);
    frag *list = ffind2(db, "netobj_list", key);
    return list != nullptr ? enum_netlist(db, list, key, callback) : callback(nullptr, key);
}

int enum_netgroup(frag **db, frag *group, const char *key, const text_callback &callback)
{
    frag *members = ffind(&group->child, "member");
    if (members == nullptr)
        return 1;
    const walk_mark mark(group);
    const open_object level(group, true);
    if (!mark.entered || !level.entered)
        return 0;
    fsetp(&group->child, "tag", nullptr, group);
    int result = 0;
    for (frag *member = members->child; member != nullptr && result == 0; member = member->next) {
        const char *name = child_value(member, "name");
        const std::string_view type = text_of(child_value(member, "type"));
        if (type.starts_with('L')) {
            result = enum_netlist(db, nullptr, name, callback);
        } else if (type.starts_with('G') && name != nullptr) {
            frag *inner = ffind2(db, "netobj_group", name);
            if (inner != nullptr && ffind(&inner->child, "tag") == nullptr)
                result = enum_netgroup(db, inner, key, callback);
        }
    }
    freefrag(fdel(&group->child, "tag"));
    return result;
}

int enum_netlist(frag **db, frag *list, const char *name, const text_callback &callback)
{
    if (list == nullptr)
        list = ffind2(db, "netobj_list", name);
    frag *elements = list == nullptr ? nullptr : ffind(&list->child, "element");
    if (elements == nullptr)
        return 1;
    int result = 0;
    for (frag *element = elements->child; element != nullptr && result == 0;
         element = element->next)
        result = callback(element, name);
    return result;
}

// ---- one object in one line

static std::string netperm_text;

int n2n_func(frag *element, const char *text)
{
    if (element != nullptr || text == nullptr)
        return 0;
    if (!netperm_text.empty())
        netperm_text += ' ';
    netperm_text.append(text, strnlen(text, NETPERM_TEXT_SIZE + 1));
    cut_to(netperm_text, NETPERM_TEXT_SIZE);
    return 0;
}

std::string &netobj_to_netperm(frag **db, const char *key)
{
    netperm_text.clear();
    // A group of the older form yields list elements, not texts.
    bool is_marked = false;
    (void)marked_group(db, key, is_marked);
    frag *obj = is_marked ? nullptr : ffind(db, key);
    if (obj != nullptr)
        enum_netobj6(db, obj, key, n2n_func);
    return netperm_text;
}

bool is_authon(const char *text)
{
    const std::string_view word = text_of(text);
    return !word.empty() && !same_word(word, "never") && !same_word(word, "inherit");
}
