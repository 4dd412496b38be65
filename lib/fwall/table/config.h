// The reader of netperm-table, the text file that configures every proxy. A line is
//   NAME[, NAME...]: [permit-|deny-|absorb-]KEYWORD ARGUMENTS...
// It counts for each name in front of its first colon, and for all with the name `*`. Arguments
// are split as lib/fwall/table/enargv.h tells. A '#' in the first column begins a comment.
//
// The file is opened, read from front to end and closed by each call; nothing is cached.
#pragma once

#include "lib/fwall/table/cfgrec.h"

inline constexpr char NETPERM_TABLE[] = "/usr/local/etc/netperm-table";

// Sets the table's path, mapped to the place of the installation; it stays until the next call.
// With null no path is left, and the next read begins with NETPERM_TABLE. Returns 0, or 1 with no
// path left when the path can't be mapped.
int cfg_setpfile(const char *path);

// The entries for `name` in the order of the file, for the caller to cfg_free; null if there are
// none. The failure marker when the file can't be opened or read, or memory runs out.
// A line holds at most 1022 characters and its newline. A line with a fault is reported, with its
// number, and dropped; faults behind the names are reported only when the line is for `name`:
//   "cfgerr: PATH line N too long", also for a last line without newline
//   "cfgerr: PATH line N malformed", without a colon or a keyword, or a keyword with a zero byte
//   "cfgerr: PATH line N missing parameter", with less than two characters behind the keyword
//   "cfgerr: PATH line N too long or misquoted"
// More than 255 arguments are lost without a report.
cfgrec *cfg_read(const char *name);

// The same, with the reports straight to the system log.
cfgrec *cfg_read_no_SendLog(const char *name);

// True for a setting that means on: behind blanks and tabs `on`, `yes` or `true` in any case of
// letters, `1` or `*`. False for anything else and for null.
bool is_on(const char *text);
