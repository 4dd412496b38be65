#include "lib/frag/objects/netobj.h"

#include "lib/frag/objects/object_run.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/text.h"

using namespace flatlink;

const char *type_of_key(const frag *obj)
{
    return obj == nullptr || obj->parent == nullptr ? "unknown" : obj->parent->name;
}

bool flatlink::is_of_type(const frag *obj, const char *type)
{
    return same_word(type_of_key(obj), type);
}

const char *flatlink::child_value(frag *obj, const char *key)
{
    return obj == nullptr ? nullptr : fval(&obj->child, key);
}

static void visit_member(frag **db, const list_member &member, const object_callback &callback)
{
    if (member.name == nullptr || member.name->value == nullptr) {
        note_absent(member.node, "obj");
        if (!member.is_group)
            report_object("DEBUG no obj key for ", member.node);
    } else if (member.obj == nullptr) {
        report_object(member.is_group ? "DEBUG enum group: didn't find group obj "
                                      : "DEBUG enum group: didn't find obj ",
                      member.name);
    } else if (member.is_group) {
        enum_group(db, member.obj, callback);
    } else {
        callback(db, member.obj, member.type);
    }
}

// Visits the members of a list that is not empty; `owner` is the object that contains it.
static int visit_members(frag **db, frag **list, const frag *owner, const object_callback &callback)
{
    const open_object level(owner, true);
    if (!level.entered)
        return 0;
    member_list members(db, list);
    while (const list_member *member = members.next()) {
        const walk_mark mark(member->node);
        if (mark.entered)
            visit_member(db, *member, callback);
    }
    return 0;
}

int enum_list(frag **db, frag **list, const object_callback &callback)
{
    if (list == nullptr || *list == nullptr)
        return 0;
    return visit_members(db, list, (*list)->parent, callback);
}

int enum_group(frag **db, frag *obj, const object_callback &callback)
{
    if (obj == nullptr)
        return 0;
    if (obj->flags & FRAG_WALKED) {
        report_recursive(obj);
        return 0;
    }
    frag *elem = ffind(&obj->child, "elem");
    if (elem != nullptr && elem->child != nullptr) {
        const walk_mark mark(obj);
        return mark.entered ? visit_members(db, &elem->child, obj, callback) : 0;
    }
    if (is_of_type(obj, "elem"))
        return visit_members(db, &obj->parent->child, obj, callback);
    if (is_of_type(obj, "group"))
        return 0;
    return callback(db, obj, type_of_key(obj));
}
