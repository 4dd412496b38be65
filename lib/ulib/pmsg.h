// Messages of a program's own making, to the error stream or to the log.
#pragma once

#include "lib/ulib/report.h"

#include <ctime>

// Where messages go: 0 the error stream, else SendLog. 0 at start; set by the program only.
extern int uselog;

// Prints one finished message; a percent sign in it is just that. The error stream gets the text
// without a newline and is flushed; the log gets it at priority notice.
//   message    cut, with what is appended, at 1023 characters
//   useerrno   not 0: ": " and the host's words for errno are appended
//   uniq       goes to SendLog with the message
void pmsg(const char *message, int useerrno, const UNIQUE_DATA_T &uniq);

// Prints "NAME exit duration=N seconds", N counted from `starttime` to now, through pmsg; without
// "NAME " for a null `name`. With `uselog` set it also closes the system log.
void exitmsg(std::time_t starttime, const char *name, const UNIQUE_DATA_T &uniq);
