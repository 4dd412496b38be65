#include "lib/frag/objects/netobj.h"

#include <cstring>

#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

static int nesting = 0;
static long visits = 0;
static long reports = 0;

void start_object_walks()
{
    visits = 0;
    reports = 0;
}

static void report_object(const char *before, const frag *obj, const char *after = "")
{
    if (reports >= MAX_OBJECT_REPORTS)
        return;
    if (++reports == MAX_OBJECT_REPORTS) {
        SendLog(servContext, connContext, UNIQUE_DATA, REPORT_NOTICE,
                "vhltcfgerr: Further reports about objects are left out.");
        return;
    }
    SendLog(servContext, connContext, UNIQUE_DATA, REPORT_NOTICE, "%s%s%s", before,
            fragkeyname(obj), after);
}

void report_recursive(const frag *obj)
{
    report_object("vhltcfgerr: Object ", obj, " is recursive.");
}

void report_deep(const frag *obj)
{
    report_object("vhltcfgerr: Object ", obj, " is nested too deeply.");
}

bool count_object_visit()
{
    if (visits < MAX_OBJECT_VISITS) {
        ++visits;
        return true;
    }
    if (visits++ == MAX_OBJECT_VISITS)
        SendLog(servContext, connContext, UNIQUE_DATA, REPORT_NOTICE,
                "vhltcfgerr: Groups hold more than %ld members in all; the rest is left out.",
                MAX_OBJECT_VISITS);
    return false;
}

static bool may_enter(frag *obj)
{
    if (obj->flags & FRAG_WALKED) {
        report_recursive(obj);
        return false;
    }
    if (nesting >= MAX_OBJECT_NESTING) {
        report_deep(obj);
        note_bound("objects inside of each other", MAX_OBJECT_NESTING, fragkeyname(obj),
                   nesting + 1);
        return false;
    }
    if (count_object_visit())
        return true;
    note_bound("visits of objects", MAX_OBJECT_VISITS, fragkeyname(obj), visits);
    return false;
}

walk_mark::walk_mark(frag *obj) : entered(may_enter(obj)), obj_(obj)
{
    if (entered) {
        obj_->flags |= FRAG_WALKED;
        ++nesting;
    }
}

walk_mark::~walk_mark()
{
    if (entered) {
        obj_->flags &= ~FRAG_WALKED;
        --nesting;
    }
}

const char *type_of_key(const frag *obj)
{
    return obj == nullptr || obj->parent == nullptr ? "unknown" : obj->parent->name;
}

bool is_of_type(const frag *obj, const char *type)
{
    return same_word(type_of_key(obj), type);
}

const char *child_value(frag *obj, const char *key)
{
    return obj == nullptr ? nullptr : fval(&obj->child, key);
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
        return mark.entered ? enum_list(db, &elem->child, callback) : 0;
    }
    if (is_of_type(obj, "elem"))
        return enum_list(db, &obj->parent->child, callback);
    if (is_of_type(obj, "group"))
        return 0;
    return callback(db, obj, type_of_key(obj));
}

static void visit_member(frag **db, frag *member, const object_callback &callback)
{
    const char *type = child_value(member, "type");
    const bool is_group = same_word(text_of(type), "group");
    frag *name = ffind(&member->child, "obj");
    if (name == nullptr || name->value == nullptr) {
        if (!is_group)
            report_object("DEBUG no obj key for ", member);
        return;
    }
    frag *obj = ffind(db, name->value);
    if (obj == nullptr)
        report_object(is_group ? "DEBUG enum group: didn't find group obj "
                               : "DEBUG enum group: didn't find obj ",
                      name);
    else if (is_group)
        enum_group(db, obj, callback);
    else
        callback(db, obj, type);
}

int enum_list(frag **db, frag **list, const object_callback &callback)
{
    if (list == nullptr || *list == nullptr)
        return 0;
    sort_frags(list);
    for (frag *member = *list; member != nullptr; member = member->next) {
        const walk_mark mark(member);
        if (mark.entered)
            visit_member(db, member, callback);
    }
    return 0;
}
