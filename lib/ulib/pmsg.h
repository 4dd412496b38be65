// A program's own messages, to the error stream or to the log.
#pragma once

#include "lib/ulib/report.h"

#include <ctime>

// Where messages go: 0 the error stream, else SendLog. Initially 0; only the program sets it.
extern int uselog;

// Prints one finished message; a percent sign has no special meaning. The error stream gets the
// text without a newline and is flushed; the log gets it at priority notice.
//   message    cut at 1023 characters, what is appended included
//   useerrno   not 0: ": " and the host's text for errno are appended
//   uniq       goes to SendLog with the message
void pmsg(const char *message, int useerrno, const UNIQUE_DATA_T &uniq);

// Prints "NAME exit duration=N seconds", N counted from `starttime` to now, through pmsg; without
// "NAME " for a null `name`. With `uselog` set it also closes the system log.
void exitmsg(std::time_t starttime, const char *name, const UNIQUE_DATA_T &uniq);
