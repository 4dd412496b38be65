#include "lib/frag/objects/netobj_text.h"

#include <span>
#include <string_view>

#include "lib/frag/objects/netobj.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/ulib/text.h"

namespace
{

// What a walk of one object needs besides the object.
struct text_walk {
    frag **db;
    const text_callback &callback;

    int give(const char *text) const { return callback(nullptr, text); }
};

using text_of_type = int (*)(const text_walk &walk, frag *obj, const char *key);

struct type_row {
    const char *type;
    text_of_type give;
};

} // namespace

static int text_of_object(const text_walk &walk, frag *obj, const char *key);

static int give_addr(const text_walk &walk, frag *obj, const char *key)
{
    const char *addr = child_value(obj, "addr");
    return walk.give(addr != nullptr ? addr : key);
}

// Two children name objects whose addresses make the text, with `mark` between them; one of them
// alone is given as it is.
static int give_pair(const text_walk &walk, frag *obj, const char *first_key,
                     const char *second_key, char mark)
{
    const char *first = child_value(ffind(walk.db, child_value(obj, first_key)), "addr");
    const char *second = child_value(ffind(walk.db, child_value(obj, second_key)), "addr");
    if (first == nullptr && second == nullptr)
        return 0;
    if (first == nullptr || second == nullptr)
        return walk.give(first != nullptr ? first : second);
    std::string text = first;
    text += mark;
    text += second;
    text.resize(std::min(text.size(), OBJECT_TEXT_SIZE));
    return walk.give(text.c_str());
}

static int give_range(const text_walk &walk, frag *obj, const char * /*key*/)
{
    return give_pair(walk, obj, "start", "end", '-');
}

static int give_network(const text_walk &walk, frag *obj, const char * /*key*/)
{
    return give_pair(walk, obj, "addr", "mask", ':');
}

static int give_pattern(const text_walk &walk, frag *obj, const char * /*key*/)
{
    const char *pattern = child_value(obj, "pat");
    return pattern == nullptr ? 0 : walk.give(pattern);
}

static int give_peer(const text_walk &walk, frag *obj, const char *key)
{
    const walk_mark mark(obj);
    if (!mark.entered)
        return 0;
    if (!same_word(text_of(child_value(obj, "include-sgo")), "off")) {
        frag *gateway = ffind(walk.db, child_value(obj, "ip-address"));
        if (gateway != nullptr)
            (void)text_of_object(walk, gateway, key); // the network's result is the peer's
    }
    frag *network = ffind(walk.db, child_value(obj, "network"));
    return network == nullptr ? walk.give(key) : text_of_object(walk, network, key);
}

static int give_client(const text_walk &walk, frag *obj, const char * /*key*/)
{
    std::string text = std::string("~") + obj->name;
    text.resize(std::min(text.size(), OBJECT_TEXT_SIZE));
    return walk.give(text.c_str());
}

static int give_group(const text_walk &walk, frag *obj, const char *key)
{
    const walk_mark mark(obj);
    frag *elem = ffind(&obj->child, "elem");
    if (!mark.entered || elem == nullptr)
        return 0;
    sort_frags(&elem->child);
    int result = 0;
    for (frag *member = elem->child; member != nullptr; member = member->next) {
        if (member->flags & FRAG_WALKED)
            continue;
        const walk_mark member_mark(member);
        if (!member_mark.entered)
            continue;
        const char *name = child_value(member, "obj");
        result = name != nullptr ? text_of_object(walk, ffind(walk.db, name), name)
                                 : text_of_object(walk, nullptr, key);
    }
    return result;
}

static constexpr type_row type_rows[] = {
    {"ipaddr", give_addr},     {"email", give_addr},       {"dns", give_addr},
    {"iprange", give_range},   {"ipnet", give_network},    {"pattern", give_pattern},
    {"vpnnetwork", give_peer}, {"vpnclient", give_client}, {"group", give_group},
};

static int text_of_object(const text_walk &walk, frag *obj, const char *key)
{
    if (obj != nullptr && (obj->flags & FRAG_WALKED)) {
        report_recursive(obj);
        return 0;
    }
    if (obj != nullptr)
        for (const type_row &row : type_rows)
            if (is_of_type(obj, row.type))
                return row.give(walk, obj, key);
    // No object of a known type: a literal address passes through.
    return walk.give(key);
}

int enum_netobj6(frag **db, frag *obj, const char *key, const text_callback &callback)
{
    return text_of_object({db, callback}, obj, key);
}

// ---- the older form

// The group that a key names with its mark in front; `is_marked` tells whether there was a mark.
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
    if (!mark.entered)
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
    if (element != nullptr)
        return 0;
    if (!netperm_text.empty())
        netperm_text += ' ';
    netperm_text += text;
    netperm_text.resize(std::min(netperm_text.size(), NETPERM_TEXT_SIZE));
    return 0;
}

std::string &netobj_to_netperm(frag **db, const char *key)
{
    netperm_text.clear();
    // A group of the older form gives list elements, and no text.
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
