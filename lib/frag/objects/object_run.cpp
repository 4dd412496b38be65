#include "lib/frag/objects/object_run.h"

#include "lib/frag/objects/netobj.h"
#include "lib/frag/tree/frag.h"
#include "lib/frag/tree/frag_name.h"
#include "lib/frag/tree/frag_sort.h"
#include "lib/frag/tree/tree_watch.h"
#include "lib/ulib/bounds.h"
#include "lib/ulib/report.h"
#include "lib/ulib/text.h"

#include <algorithm>
#include <unordered_map>

using namespace flatlink;

namespace
{

struct known_list {
    bool keeps_order = true; // sorting it again would change nothing
    std::vector<list_member> members;
};

struct walk_state {
    bool in_run = false;
    long long steps = 0;
    long reports = 0;
    int nesting = 0;
    int groups = 0;
    unsigned tree_state = 1; // raised when objects are made
    const frag *origin = nullptr;
    std::unordered_map<frag **, known_list> lists; // by the address of the head
};

walk_state walks;

constexpr const char *STEPS_BOUND = "steps of walks over objects";

} // namespace

static bool has_steps()
{
    return walks.steps <= MAX_OBJECT_STEPS;
}

object_run::object_run()
{
    walks = walk_state();
    walks.in_run = true;
}

object_run::~object_run()
{
    if (!has_steps())
        note_bound(STEPS_BOUND, MAX_OBJECT_STEPS, "", walks.steps);
    walks = walk_state();
}

void flatlink::objects_changed()
{
    ++walks.tree_state;
}

void flatlink::set_walk_origin(const frag *node)
{
    walks.origin = node;
}

std::string flatlink::walk_place(const frag *obj)
{
    std::string place = walks.origin == nullptr ? "" : fragkeyname(walks.origin);
    if (obj != nullptr)
        place.append(place.empty() ? "" : ", ").append(fragkeyname(obj));
    return place;
}

int flatlink::open_groups()
{
    return walks.groups;
}

// ---- counts and reports

// The counts of a walk outside of a run end with the walk.
static void start_lone_walk()
{
    if (!walks.in_run && walks.nesting == 0)
        walks.steps = walks.reports = 0;
}

bool flatlink::take_steps(long long steps, const frag *obj)
{
    start_lone_walk();
    const bool had_steps = has_steps();
    walks.steps += steps;
    if (has_steps())
        return true;
    if (had_steps) { // told once, by the step that crosses the bound
        note_bound(STEPS_BOUND, MAX_OBJECT_STEPS, walk_place(obj), walks.steps);
        SendLog(servContext, connContext, UNIQUE_DATA, REPORT_NOTICE,
                "vhltcfgerr: Walks over objects take more than %lld steps in all; the rest is left "
                "out.",
                MAX_OBJECT_STEPS);
    }
    return false;
}

frag *flatlink::find_object(frag **db, const char *key, const frag *at)
{
    const auto steps = static_cast<long long>(text_of(key).size());
    if (!take_steps(steps, at))
        return nullptr;
    frag *obj = ffind(db, key);
    if (obj == nullptr)
        note_missing(key);
    return obj;
}

void flatlink::report_object(const char *before, const frag *obj, const char *after)
{
    start_lone_walk();
    if (walks.reports >= MAX_OBJECT_REPORTS)
        return;
    if (++walks.reports == MAX_OBJECT_REPORTS) {
        SendLog(servContext, connContext, UNIQUE_DATA, REPORT_NOTICE,
                "vhltcfgerr: Further reports about objects are left out.");
        return;
    }
    SendLog(servContext, connContext, UNIQUE_DATA, REPORT_NOTICE, "%s%s%s", before,
            fragkeyname(obj), after);
}

void flatlink::report_recursive(const frag *obj)
{
    note_stopped(walk_stop::RECURSIVE, obj);
    report_object("vhltcfgerr: Object ", obj, " is recursive.");
}

void flatlink::report_deep(const frag *obj)
{
    note_stopped(walk_stop::DEEP, obj);
    report_object("vhltcfgerr: Object ", obj, " is nested too deeply.");
}

// ---- where walks are

static bool may_open(const frag *obj)
{
    start_lone_walk();
    if (walks.nesting < MAX_OBJECT_NESTING)
        return true;
    report_deep(obj);
    note_bound("objects inside of each other", MAX_OBJECT_NESTING, walk_place(obj),
               walks.nesting + 1);
    return false;
}

open_object::open_object(const frag *obj, bool is_group)
    : entered(may_open(obj)), is_group_(is_group)
{
    if (entered) {
        ++walks.nesting;
        walks.groups += is_group_ ? 1 : 0;
    }
}

open_object::~open_object()
{
    if (entered) {
        --walks.nesting;
        walks.groups -= is_group_ ? 1 : 0;
    }
}

static bool may_mark(const frag *node)
{
    if ((node->flags & FRAG_WALKED) == 0)
        return take_steps(1, node);
    report_recursive(node);
    return false;
}

walk_mark::walk_mark(frag *node) : entered(may_mark(node)), node_(node)
{
    if (entered)
        node_->flags |= FRAG_WALKED;
}

walk_mark::~walk_mark()
{
    if (entered)
        node_->flags &= ~FRAG_WALKED;
}

bool peer_path::leads_back_to(const frag *peer) const
{
    const int groups = open_groups();
    for (std::size_t i = peers_.size(); i > 0 && peers_[i - 1].open_groups == groups; --i)
        if (peers_[i - 1].peer == peer)
            return true;
    return false;
}

// ---- members of groups

// Temporary objects come and go during a run, so they are not cached.
static bool is_temporary(const frag *node)
{
    while (node->parent != nullptr)
        node = node->parent;
    return std::string_view(node->name) == "temp";
}

static bool is_temporary_key(std::string_view key)
{
    return key.substr(0, key.find_first_of("_=")) == "temp";
}

static bool is_in_order(const frag *list)
{
    for (; list->next != nullptr; list = list->next)
        if (fragmatch(list->name, list->next->name) > 0)
            return false;
    return true;
}

static void find_member(frag **db, list_member &member)
{
    member.type = child_value(member.node, "type");
    member.is_group = same_word(text_of(member.type), "group");
    member.name = ffind(&member.node->child, "obj");
    const char *key = member.name == nullptr ? nullptr : member.name->value;
    member.obj = find_object(db, key, member.node);
    member.found_at = is_temporary_key(text_of(key)) ? 0 : walks.tree_state;
}

// A member that is known is met again.
static void note_member(const list_member &member)
{
    if (member.name != nullptr)
        note_found(member.name);
    if (member.obj != nullptr)
        note_found(member.obj);
}

// Null for a temporary list.
static known_list *known_members(frag **list)
{
    const auto found = walks.lists.find(list);
    if (found != walks.lists.end())
        return &found->second;
    if (is_temporary(*list))
        return nullptr;
    known_list &known = walks.lists[list];
    sort_frags(list);
    // The order of names that mix digits and letters is not transitive, so each sort of a list may
    // give another order.
    known.keeps_order = is_in_order(*list);
    // Of a list that does not keep its order nothing is known: it is sorted anew by each walk.
    for (frag *node = *list; node != nullptr && known.keeps_order; node = node->next)
        known.members.push_back({.node = node});
    return &known;
}

member_list::member_list(frag **db, frag **list) : db_(db), known_(nullptr), current_{*list}
{
    known_list *known = walks.in_run ? known_members(list) : nullptr;
    if (known != nullptr && known->keeps_order) {
        known_ = &known->members;
        return;
    }
    constexpr long long SORT_STEPS = 50;
    for (const frag *node = *list; node != nullptr && known != nullptr; node = node->next)
        (void)take_steps(SORT_STEPS, node);
    sort_frags(list);
    current_.node = *list;
}

const list_member *member_list::next()
{
    if (!has_steps())
        return nullptr;
    if (known_ != nullptr) {
        if (index_ == known_->size())
            return nullptr;
        list_member &member = (*known_)[index_++];
        if (member.found_at != walks.tree_state)
            find_member(db_, member);
        else
            note_member(member);
        return &member;
    }
    if (index_++ > 0)
        current_ = {.node = current_.node->next};
    if (current_.node == nullptr)
        return nullptr;
    find_member(db_, current_);
    return &current_;
}
