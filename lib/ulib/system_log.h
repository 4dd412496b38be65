// Lines to the system log, in the form of the C library's syslog call, over a socket of our own
// that is open before it is needed. A reader that does not read holds no line up for longer than
// lib/ulib/log_sender.h says; lines that it cost are told by the next one that gets through:
// "system log lines lost: N", at priority error.
//
// As long as open_system_log has not been called, and once each call of it has been undone, lines
// go through the C library's own call.
#pragma once

#include <cstdarg>
#include <string_view>

namespace flatlink
{

// Sets how lines look from now on and opens the socket; a socket that can't be had is tried again
// by each line. Calls nest.
//   ident      in front of each line, null for the program's name; kept until the next call, not
//              copied
//   options    openlog's LOG_PID, LOG_PERROR and LOG_CONS; the others mean nothing here
//   facility   of lines that name none
void open_system_log(const char *ident, int options, int facility);

// Closes the socket and leaves the program's name as ident; options and facility stay. A line of
// an outer call opens it again.
void close_system_log();

// Opens the socket anew, so that a process that was forked has one of its own.
void reopen_system_log();

// Write one line, in the order of the calls.
//   priority   syslog's, with or without a facility; setlogmask decides whether it is written
//   format     printf's, and %m for the host's words for errno; never text from outside. What is
//              longer than 8 kB is cut
void system_log(int priority, const char *format, ...) __attribute__((format(printf, 2, 3)));
void vsystem_log(int priority, const char *format, va_list args)
    __attribute__((format(printf, 2, 0)));

// For signal handlers, which may have interrupted anything: writes the finished `text` at once, or
// counts it as lost. Does nothing without open_system_log.
void system_log_at_any_instant(int priority, std::string_view text);

} // namespace flatlink
