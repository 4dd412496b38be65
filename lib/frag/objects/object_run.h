// What walks over network objects may cost, what they report, and what they have found out about
// groups. Groups that name each other twice a level double at each of them, so that a few
// kilobytes describe a walk without an end.
//
// The walks of one piece of work share their counts in an object_run. A walk outside of a run has
// its own: from the first object that it opens to the return from that.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

struct frag;

// Groups and peers are opened inside one another to this depth; real configurations nest a
// handful. It keeps a hostile one from exhausting the stack.
inline constexpr int MAX_OBJECT_NESTING = 400;

// Steps of one run, a bound of its time: a step takes some 20 ns. The visit of a member is one,
// and whatever costs more counts as many as it takes.
inline constexpr long long MAX_OBJECT_STEPS = 400'000'000;

// Reports of one run about objects. Waiting for the log takes far longer than the walk.
inline constexpr long MAX_OBJECT_REPORTS = 10'000;

namespace flatlink
{

// Steps of work on so many bytes of text.
constexpr long long text_steps(std::size_t size_bytes)
{
    return static_cast<long long>(size_bytes / 8);
}

} // namespace flatlink

// A run, from its beginning to the end of the block. While it lasts the tree changes by fset and
// enum_pattern alone, and objects_changed follows an fset that makes objects; what groups hold is
// found out once. Runs do not nest.
class object_run
{
  public:
    object_run();
    ~object_run();
    object_run(const object_run &) = delete;
    object_run &operator=(const object_run &) = delete;
};

namespace flatlink
{

// Objects were made: members that led nowhere may lead to them.
void objects_changed();

// What the next walks of the run belong to, such as a rule: a bound that strikes names it. The
// tree's; null: nothing.
void set_walk_origin(const frag *node);

// The keys of the walks' origin and of `obj`, which may be null, for a note about a bound.
std::string walk_place(const frag *obj);

// Counts steps taken at `obj`; false when the run has had its share, which is reported once and
// noted as a bound.
bool take_steps(long long steps, const frag *obj);

// ffind that counts the steps of the look-up, which goes down the key part by part; null also when
// none are left. `at` is the object that holds the key, or null.
frag *find_object(frag **db, const char *key, const frag *at);

// Reports that an object leads back to itself.
void report_recursive(const frag *obj);

// Reports, and notes as a bound, that an object lies inside of too many.
void report_deep(const frag *obj);

// Reports `before`, the object's key, and `after`.
void report_object(const char *before, const frag *obj, const char *after = "");

// Groups that walks are inside of at the moment.
int open_groups();

} // namespace flatlink

// Counts an object as being inside of, for the length of a block.
class open_object
{
  public:
    // `entered` tells whether the object may be opened: neither nesting nor steps are exhausted.
    open_object(const frag *obj, bool is_group);
    ~open_object();
    open_object(const open_object &) = delete;
    open_object &operator=(const open_object &) = delete;

    const bool entered;

  private:
    bool is_group_;
};

// Marks a node as being walked, for the length of a block. The mark is what ends cycles.
class walk_mark
{
  public:
    // `entered` tells that the node was not marked, which is reported, and steps are left.
    explicit walk_mark(frag *node);
    ~walk_mark();
    walk_mark(const walk_mark &) = delete;
    walk_mark &operator=(const walk_mark &) = delete;

    const bool entered;

  private:
    frag *node_;
};

// Peers lie inside of each other without a mark in the tree: one that leads back to itself over a
// group is ended by the mark of that group. The path ends the others.
class peer_path
{
  public:
    // True when `peer` was entered since the innermost open group was.
    bool leads_back_to(const frag *peer) const;
    void enter(const frag *peer) { peers_.push_back({peer, flatlink::open_groups()}); }
    void leave() { peers_.pop_back(); }
    std::size_t depth() const { return peers_.size(); }

  private:
    struct place {
        const frag *peer;
        int open_groups;
    };
    std::vector<place> peers_;
};

// A member of a group, with what it leads to.
struct list_member {
    frag *node;
    frag *name = nullptr;       // its child `obj`; null: none
    const char *type = nullptr; // value of its child `type`; null: none
    frag *obj = nullptr;        // the object of that name; null: none
    bool is_group = false;      // by its type
    unsigned found_at = 0;      // state of the tree at which the above was found out; 0: never
};

// The members of one list, in the order of a walk.
class member_list
{
  public:
    // Sorts the list. `list` is the address of its head.
    member_list(frag **db, frag **list);

    // Moves on to the next member, with all that it leads to; null at the end. Valid until the
    // next call.
    const list_member *next();

  private:
    frag **db_;
    std::vector<list_member> *known_; // null: the list is walked as it stands
    std::size_t index_ = 0;
    list_member current_;
};
