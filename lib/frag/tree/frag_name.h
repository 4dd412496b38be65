// The name and the key of a node, and comparisons of stored with plain names.
#pragma once

#include <string_view>

struct frag;

// One access prefix: its word in names and its bit in frag::flags.
struct access_prefix {
    std::string_view word;
    unsigned flag;
};

// In order of precedence: a name shows at most one prefix, the first that applies.
inline constexpr access_prefix access_prefixes[] = {
    {"deny-", 0x02},
    {"permit-", 0x01},
    {"absorb-", 0x04},
    {"onlyon-", 0x08},
};

inline constexpr unsigned ANY_ACCESS = 0x0F; // the bits of all of them

namespace flatlink
{

// The prefix that a node's name shows; empty for none.
std::string_view shown_prefix(const frag *node);

// Removes the prefixes whose bits are in `accepted` from the front of a plain name, in any case,
// order and number, and stops at the first other text. Returns their bits.
unsigned take_access_prefixes(std::string_view &name, unsigned accepted);

} // namespace flatlink

inline constexpr int FRAGNAME_SIZE = 64;      // bytes of fragname's text, its NUL included
inline constexpr int FRAGKEYNAME_SIZE = 1024; // the same of fragkeyname

// Writes the node's name with its prefix, escapes decoded, and returns `buffer`; the empty text
// for no node. A positive `limit` is the buffer's size in bytes: the name is cut to one less
// before decoding, so that a cut can fall inside an escape. With `limit` -1 the caller provides
// room for the prefix, the stored name and a NUL. A '%' followed by fewer than two bytes is kept.
char *copy_fragname_len(const frag *node, char *buffer, int limit);
char *copy_fragname(const frag *node, char *buffer);

// The same in a shared text of FRAGNAME_SIZE bytes, overwritten by the next call.
const char *fragname(const frag *node);

// The node's whole key, with prefixes and escapes, in a shared text that the next call overwrites.
// A part that would make it 1020 bytes or longer is left out; the '_' before it stays if there is
// room.
const char *fragkeyname(const frag *node);

// The byte of two hexadecimal digits of either case; any other character counts as 0.
char hexconvert(const char *digits);

// Names that merely look as if they had an access prefix: from the file's form to the tree's, and
// back. Other names are returned unchanged. Views of constant text or of the argument.
std::string_view attr_remap(std::string_view name);
std::string_view attr_revmap(std::string_view name);

// Compares a stored name with a plain text: 0 if equal, else the byte difference at the first
// mismatch. %5F in the stored name equals '_' in the text.
int fragcmp(const char *stored, const char *plain);
