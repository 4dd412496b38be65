// The configuration tree: its node, the look-up and change of nodes by key, and their release.
//
// A key is a path of stored names joined by '_'; it ends at its NUL or at the first '='. Stored
// names are escaped ('_' is %5F, '%' is %25), so that a name never holds a separator. An
// operation on a list takes the address of its head: of a variable for the top level, of a
// node's `child` below it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct cfnode;
struct name_index;

// One node. It owns `name`, `value` and its children; freefrag ends all of them.
struct frag {
    frag *next = nullptr;   // next sibling
    frag *child = nullptr;  // first child
    frag *parent = nullptr; // node above; null at the top, and where fset made a first level
    char *name = nullptr;   // stored form, without access prefix; never null
    char *value = nullptr;  // null and empty differ: a node may exist only to hold children
    std::int32_t vlen = 0; // value bytes that count; an import may leave it below the text's length
    std::uint32_t flags = 0;
    cfnode *index = nullptr;       // trie of the children's names, only while an import runs
    name_index *names = nullptr;   // index of the children, made by long searches (name_index.h)
    std::uint32_t origin : 31 = 0; // where the value came from (origin.h)
    std::uint32_t is_unlisted : 1 = 1; // no index knows the node (name_index.h)
};

// frag::flags. Several access bits may be set; names show one, in the order deny, permit,
// absorb, onlyon.
enum frag_flag : std::uint32_t {
    FRAG_PERMIT = 0x01,
    FRAG_DENY = 0x02,
    FRAG_ABSORB = 0x04,
    FRAG_ONLYON = 0x08,
    FRAG_WALKED = 0x0100,     // a walk of network objects is inside this node
    FRAG_COUNT_MASK = 0xFF00, // while an import runs instead: children that it added,
    FRAG_COUNT_ONE = 0x0100,  // counted in this unit
    FRAG_COUNT_FULL = 0x1000, // up to sixteen, and one more while a trie is due
};

// Finds a node; creates nothing. Null for a null key, an empty list or an absent name. Of equal
// names the first in list order is found. The tree keeps the node.
frag *ffind(frag **head, const char *key);

// The same, under the name that the import uses.
frag *fnewfind(frag **head, const char *key);

// `key2` among the children of the node at `key1`; null if either is absent.
frag *ffind2(frag **head, const char *key1, const char *key2);

// The value of the node at `key`: text inside the tree, valid until the node changes. Null if
// there is no node or no value.
const char *fval(frag **head, const char *key);

// Finds or makes the path and replaces the value of its last node by a copy of `value`; a null
// value leaves the node without one. Flags and children of the node stay, its origin goes. New
// nodes go to the front of their lists; the first new one gets the last node found as its parent,
// or `parent` when none was found. Returns the node, never null.
frag *fsetp(frag **head, const char *key, const char *value, frag *parent);

// fsetp without a parent: a node made on the first level has none, whatever `head` belongs to.
frag *fset(frag **head, const char *key, const char *value);

// fset among the children of *node, with the parent links repaired. Returns the node set.
frag *fset_list(frag **node, const char *key, const char *value);

// Unlinks the node at `key` and hands it over to the caller, who frees it. Its `next` keeps the old
// value. Null when there is no such node.
frag *fdel(frag **head, const char *key);

// Frees a node with its name, value and descendants; null is allowed. Never reads `next` or the
// parent, which may have been freed.
void freefrag(frag *node);

namespace flatlink
{

// Frees a whole list, node by node, and leaves it empty.
void free_fraglist(frag **head);

} // namespace flatlink

// A new unlinked node with the stored name `name`, all else empty. The caller owns it.
frag *newsymfrag(std::string_view name);

// The same with the first `length` bytes of `text` as its name.
inline frag *newsymfrag(const char *text, std::size_t length)
{
    return newsymfrag(std::string_view(text, length));
}

// Stores `plain` in escaped form as the node's name.
void renamefrag(frag *node, const char *plain);

// A deep copy of the list, in order; null for an empty one. Its first level gets `parent`.
// Values are copied as far as `vlen` counts them, with their origins. The caller owns the copy.
frag *copy_fragtree(frag **head, frag *parent);

namespace flatlink
{

// Makes `length` bytes of `text`, and a NUL terminator, the node's value; `vlen` becomes `length`.
void set_frag_value(frag *node, const char *text, std::size_t length);

// Writes `length` bytes at `offset` into the node's value, which is made or enlarged as needed and
// ends after them; `vlen` becomes their end. `offset` is at most the value's length.
void write_frag_value(frag *node, std::size_t offset, const char *bytes, std::size_t length);

// Escapes '_' and '%' of `plain` for a stored name.
std::string escaped_name(std::string_view plain);

} // namespace flatlink

// Owner for an unlinked node.
struct frag_deleter {
    void operator()(frag *node) const { freefrag(node); }
};
using frag_ptr = std::unique_ptr<frag, frag_deleter>;
