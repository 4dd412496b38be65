// Network objects: what the name of an object in a rule stands for. The object walk visits the
// objects inside a group; the text walk (lib/frag/objects/netobj_text.h) turns an object into
// addresses.
//
// An object is a node with children; its type is the name of the node above it. A group has a
// child `elem` with one child per member, each with the keys `type` and `obj`.
#pragma once

#include <functional>

struct frag;

// Called for each object: the tree, the object, and its type text, which may be null for a group
// member without one. Some walks look at the result.
using object_callback = std::function<int(frag **db, frag *obj, const char *type)>;

// Groups and peers are opened inside one another to this depth; real configurations nest a
// handful. It keeps a hostile one from exhausting the stack.
inline constexpr int MAX_OBJECT_NESTING = 400;

// Objects that all walks of a run visit together. Groups that name each other twice a level grow
// without bound otherwise.
inline constexpr long MAX_OBJECT_VISITS = 20'000'000;

// Reports of a run about objects. Such groups would fill the log, and waiting for it would take far
// longer than the walk.
inline constexpr long MAX_OBJECT_REPORTS = 10'000;

// Begins a run: visits and reports are counted anew. A process begins with the first; one that
// goes on to another database, or reads its own again, calls this before it walks over that.
void start_object_walks();

// The name of the node above, as the tree holds it; "unknown" for null and for a top node.
const char *type_of_key(const frag *obj);

// True when the object's type is `type`, ASCII case ignored.
bool is_of_type(const frag *obj, const char *type);

// The value of the child `key` of an object; null if the object, the child or its value is missing.
const char *child_value(frag *obj, const char *key);

// Visits the objects inside `obj`: the members of a group, sorted, groups among them opened; a
// member itself stands for the list it is in; any other object is visited alone. A group that
// leads back to itself is reported and passed over. Returns 0 for null, for an empty group and
// after a list, else what the callback returned.
int enum_group(frag **db, frag *obj, const object_callback &callback);

// The same over a list of members; `list` is the address of its head. Returns 0.
int enum_list(frag **db, frag **list, const object_callback &callback);

// Marks an object as being walked, for the length of a block. The mark is what ends cycles.
class walk_mark
{
  public:
    // True in `entered` when the object may be opened: it was not marked, and neither nesting
    // nor visits are exhausted. A refusal is reported.
    explicit walk_mark(frag *obj);
    ~walk_mark();
    walk_mark(const walk_mark &) = delete;
    walk_mark &operator=(const walk_mark &) = delete;

    const bool entered;

  private:
    frag *obj_;
};

// Counts one visit; false when the run has had its share. The first refusal is reported.
bool count_object_visit();

// Report that an object leads back to itself, or lies inside of too many. They count among the
// reports about objects.
void report_recursive(const frag *obj);
void report_deep(const frag *obj);
