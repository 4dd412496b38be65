// Lines to the system log, in the form of the C library's syslog call, over a socket of our own
// that is opened before it is needed. A reader that is stuck delays a line no longer than
// lib/ulib/log_sender.h says; the next line that gets through is followed by a count of the lost
// ones: "system log lines lost: N", at priority error.
//
// Before the first open_system_log, and after each call of it has been undone by
// close_system_log, lines go through the C library's own call.
#pragma once

#include <cstdarg>
#include <string_view>

namespace flatlink
{

// Sets how lines look from now on and opens the socket; if that fails, each line tries again. Calls
// nest.
//   ident      in front of each line, null for the program's name; kept until the next call, not
//              copied
//   options    openlog's LOG_PID, LOG_PERROR and LOG_CONS; others are ignored
//   facility   default for lines that name none
void open_system_log(const char *ident, int options, int facility);

// Closes the socket and resets ident to the program's name; options and facility stay. If an outer
// open_system_log remains, the next line opens the socket again.
void close_system_log();

// Reopens the socket, so that a forked process has one of its own.
void reopen_system_log();

// Write one line. Lines keep the order of the calls.
//   priority   syslog's, with or without a facility; setlogmask decides whether it is written
//   format     printf's, and %m for the host's text for errno; never text from outside. A line is
//              cut at 8 kB
void system_log(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));
void vsystem_log(int priority, const char *format, va_list args)
    __attribute__((format(printf, 2, 0)));

// Async-signal-safe: writes the finished `text` at once, or counts it as lost. Does nothing without
// open_system_log.
void system_log_at_any_instant(int priority, std::string_view text);

} // namespace flatlink
