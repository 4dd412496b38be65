// Limits, reports and a cache for walks over network objects. Groups that name the next level twice
// double the walk at each level, so a few kilobytes can describe a practically endless one.
//
// The walks of one piece of work share their counts in an object_run. A walk outside of a run has
// its own counts, from the first object that it opens until it returns from that.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct frag;

namespace flatlink
{

// Deepest nesting of groups and peers; real configurations nest a handful. Keeps hostile ones from
// exhausting the stack.
inline constexpr int MAX_OBJECT_NESTING = 400;

// Steps of one run, which limit its time: a step takes about 20 ns. Visiting a member is one step;
// more expensive work counts as several.
inline constexpr long long MAX_OBJECT_STEPS = 400'000'000;

// Reports of one run about objects. Limited because waiting for the log would take far longer than
// the walk.
inline constexpr long MAX_OBJECT_REPORTS = 10'000;

// Steps for work on `size_bytes` of text.
constexpr long long text_steps(std::size_t size_bytes)
{
    return static_cast<long long>(size_bytes / 8);
}

// A run, for the lifetime of the object. Meanwhile the tree may change only by fset and
// enum_pattern, and objects_changed must follow an fset that makes objects, because the members of
// groups are looked up only once. Runs must not be nested.
class object_run
{
  public:
    object_run();
    ~object_run();
    object_run(const object_run &) = delete;
    object_run &operator=(const object_run &) = delete;
};

// Call after making objects: members that named no object may name one now.
void objects_changed();

// Sets the node, such as a rule, that the next walks of the run belong to: a note about a limit
// names it. Borrowed from the tree; null for none.
void set_walk_origin(const frag *node);

// The keys of the walks' origin and of `obj`, which may be null, for a note about a limit.
std::string walk_place(const frag *obj);

// Counts steps taken at `obj`. False when the run has used up its steps, which is reported once and
// noted as a limit.
bool take_steps(long long steps, const frag *obj);

// ffind that counts the steps of the look-up, one part of the key at a time; also null when none
// are left. `at` is the object that holds the key, or null.
frag *find_object(frag **db, const char *key, const frag *at);

// Reports that an object contains itself.
void report_recursive(const frag *obj);

// Reports, and notes as a limit, that an object is nested too deeply.
void report_deep(const frag *obj);

// Reports `before`, the object's key, and `after`.
void report_object(const char *before, const frag *obj, const char *after = "");

// Number of groups that walks are inside of at the moment.
int open_groups();

// Counts an object as open for the length of a block.
class open_object
{
  public:
    // `entered` becomes true if the object may be opened: neither depth nor steps are exhausted.
    open_object(const frag *obj, bool is_group);
    ~open_object();
    open_object(const open_object &) = delete;
    open_object &operator=(const open_object &) = delete;

    const bool entered;

  private:
    bool is_group_;
};

// Marks a node as being walked for the length of a block. The mark ends cycles.
class walk_mark
{
  public:
    // `entered` becomes true if the node was not marked yet (else that is reported) and steps are
    // left.
    explicit walk_mark(frag *node);
    ~walk_mark();
    walk_mark(const walk_mark &) = delete;
    walk_mark &operator=(const walk_mark &) = delete;

    const bool entered;

  private:
    frag *node_;
};

// The peers that a walk is inside of. Peers have no mark in the tree: a cycle through a group ends
// at the group's mark, and this path ends the others.
class peer_path
{
  public:
    // True when `peer` was entered after the innermost open group.
    bool leads_back_to(const frag *peer) const;
    void enter(const frag *peer) { peers_.push_back({peer, open_groups()}); }
    void leave() { peers_.pop_back(); }
    std::size_t depth() const { return peers_.size(); }

  private:
    struct place {
        const frag *peer;
        int open_groups;
    };
    std::vector<place> peers_;
};

// A member of a group, and the object that it names.
struct list_member {
    frag *node;
    frag *name = nullptr;       // its child `obj`; null: none
    const char *type = nullptr; // value of its child `type`; null: none
    frag *obj = nullptr;        // the object of that name; null: none
    bool is_group = false;      // by its type
    unsigned found_at = 0;      // state of the tree when the above was looked up; 0: never
};

// The members of one list, in the order of a walk.
class member_list
{
  public:
    // Sorts the list. `list` is the address of its head.
    member_list(frag **db, frag **list);

    // Advances to the next member and looks up its object; null at the end. Valid until the next
    // call.
    const list_member *next();

  private:
    frag **db_;
    std::vector<list_member> *known_; // null: not cached, the list itself is walked
    std::size_t index_ = 0;
    list_member current_;
};

} // namespace flatlink
