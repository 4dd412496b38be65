// Network objects: resolves the object names in rules. The object walk visits the objects inside a
// group; the text walk (lib/frag/objects/netobj_text.h) turns an object into addresses.
//
// An object is a node with children; its type is the name of the node above it. A group has a
// child `elem` with one child per member, each with the keys `type` and `obj`.
#pragma once

#include <functional>

struct frag;

// Called for each object: the tree, the object, and its type text, which may be null for a group
// member without one. Some walks use the result.
using object_callback = std::function<int(frag **db, frag *obj, const char *type)>;

// The name of the node above, as the tree holds it; "unknown" for null and for a top node.
const char *type_of_key(const frag *obj);

namespace flatlink
{

// True when the object's type is `type`, ASCII case ignored.
bool is_of_type(const frag *obj, const char *type);

// The value of the child `key` of an object; null if the object, the child or its value is missing.
const char *child_value(frag *obj, const char *key);

} // namespace flatlink

// Visits the objects inside `obj`: for a group its members, sorted, and in turn the members of
// groups among them; for a member the whole list it is in; any other object alone. A group that
// contains itself is reported and skipped. Returns 0 for null, for an empty group and after a list,
// else the callback's result.
int enum_group(frag **db, frag *obj, const object_callback &callback);

// The same over a list of members; `list` is the address of its head. Returns 0.
int enum_list(frag **db, frag **list, const object_callback &callback);
