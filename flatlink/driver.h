// The steps of a conversion: load the database, derive the records, write them.
#pragma once

#include <cstdio>

struct frag;

inline constexpr const char *DEFAULT_DATABASE = "/usr/local/etc/mgmt/varnholt.conf";
inline constexpr const char *SCRATCH_FILE = "/tmp/vpndata.txt";

// Path of the database, or of the file that the next save opens; borrowed, null for none.
extern const char *network_database;

namespace flatlink
{

// Reads an open database into the default tree, in the current layout. Returns 0, or the errno of
// a read that failed; then the tree is incomplete.
[[nodiscard]] int load_database(int fd);

// Whether a tree as it was imported needs no pass to bring it to the current layout.
bool is_current_layout(frag *head);

// Loads the tree if it is empty: from the database at `path`, or null for the default one, at its
// installed place. Returns the tree's head, null when it is empty or unread.
frag *load_tree_once(const char *path);

// Derives all records from the default tree, with a trace to `fout`, which may be null.
//   reload  keep host names, interfaces and the default router
void derive_from_tree(bool reload);

// Writes the lines of all records to a stream, which stays open. The caller checks it for errors.
void write_records(std::FILE *stream);

} // namespace flatlink

// Derives all records from the database and saves them after their trace in SCRATCH_FILE.
//   path    the database, which outlives the call; null: the one set before, or the default
//   reload  read the file again, and keep host names, interfaces and the default router
// Returns the result of the save. A missing database counts as empty.
int read_vpndata(const char *path, bool reload);

namespace flatlink
{

// The derivation alone, with its trace to `fout`, which may be null. Arguments as above, `path` not
// null; nothing is saved.
void derive_records(const char *path, bool reload);

} // namespace flatlink

// Writes the records to `fout`, or if that is null over `network_database`, which becomes `path`
// if unset; closes the file. Returns 0 when all was written, else non-zero, with a message on the
// standard error stream.
int save_vpndata(const char *path);

// Loads the tree if it is empty, and returns the text that says at which level VPN traffic
// without a rule is logged; null for none. The text is the tree's.
const char *read_vpn_nonrule_loglevel(const char *path);

// Load the database into the default tree in the current layout: at `path`, or null for the
// default one at its installed place. Return the tree's head, null when it is empty or unread.
frag *populateDef42Tree(const char *path);
frag *populateDef42TreeFromEnv(const char *path);

// Converts a tree in any layout to the current one. Returns its new head.
frag *upgradeTo42(frag *head);
