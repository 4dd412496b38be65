// The reader of netperm-table, the text file that configures every proxy. A line is
//   NAME[, NAME...]: [permit-|deny-|absorb-]KEYWORD ARGUMENTS...
// It applies to each name before its first colon; the name `*` stands for all. enargv.h says how
// arguments are split. A '#' in the first column begins a comment.
//
// Each call opens, reads and closes the file; nothing is cached.
#pragma once

#include "lib/fwall/table/cfgrec.h"

inline constexpr char NETPERM_TABLE[] = "/usr/local/etc/netperm-table";

// Sets the table's path, mapped to the place of the installation, until the next call. Null resets
// it to NETPERM_TABLE. Returns 0, or 1 when the path can't be mapped, which resets it too.
int cfg_setpfile(const char *path);

// The entries for `name` in file order, for the caller to cfg_free; null if there are none. The
// failure marker when the file can't be opened or read, or memory runs out.
// A line has at most 1022 characters and its newline. A faulty line is reported, with its number,
// and skipped; faults after the colon are reported only when the line is for `name`:
//   "cfgerr: PATH line N too long", also for a last line without newline
//   "cfgerr: PATH line N malformed", without a colon or a keyword, or a keyword with a NUL byte
//   "cfgerr: PATH line N missing parameter", with fewer than two characters after the keyword
//   "cfgerr: PATH line N too long or misquoted"
// Arguments after the 255th are dropped without a report.
cfgrec *cfg_read(const char *name);

// The same, with the reports straight to the system log.
cfgrec *cfg_read_no_SendLog(const char *name);

// True for a setting that means on: `on`, `yes` or `true` in upper or lower case, `1` or `*`, after
// any blanks and tabs. False for anything else and for null.
bool is_on(const char *text);
