// Network objects as address text.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

struct frag;

// Called for each text with the list element that it belongs to (always null in enum_netobj6), and
// the text, which is valid only during the call, and null only if the walk's key is.
using text_callback = std::function<int(frag *element, const char *text)>;

// Longest text of a two-part object ("start-end", "addr:mask") and of a client; more is cut.
inline constexpr std::size_t OBJECT_TEXT_SIZE = 8191;

// Longest text of netobj_to_netperm; more is cut.
inline constexpr std::size_t NETPERM_TEXT_SIZE = 8099;

// Passes the texts of the object at `key` to the callback, or `key` itself if it names no object. A
// key that begins with "$$NETOBJ." names a group of the older form. Returns 1 when that group is
// missing, else the walk's result.
int enum_netobj(frag **db, const char *key, const text_callback &callback);

// Passes the texts of `obj`, which may be null, to the callback; `key` is the fallback text.
// Returns the last callback's result, 0 if it was never called.
int enum_netobj6(frag **db, frag *obj, const char *key, const text_callback &callback);

// The same for the older form of objects, in the top-level lists netobj_list and netobj_group.
int enum_netobj42(frag **db, const char *key, const text_callback &callback);

// Walks of the older form; a non-zero result of the callback stops them and is returned. 1 when
// the group has no `member`, or the list is missing or has no `element`. A null `list` is looked
// up by `name`.
int enum_netgroup(frag **db, frag *group, const char *key, const text_callback &callback);
int enum_netlist(frag **db, frag *list, const char *name, const text_callback &callback);

// All texts of the object at `key`, in walk order, separated by single blanks; empty when there are
// none. A shared text, which the caller may change and the next call overwrites.
std::string &netobj_to_netperm(frag **db, const char *key);

// The text callback of netobj_to_netperm: adds to its shared text. Always 0.
int n2n_func(frag *element, const char *text);

// True for a text that is neither null, empty, "never" nor "inherit" (in any case).
bool is_authon(const char *text);
