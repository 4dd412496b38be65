// The connection to the log daemon, and the sending of one record over it. Trouble goes to the
// system log at priority error; none of it stops a proxy, and a daemon that does not read holds a
// record up for no longer than lib/ulib/log_sender.h says.
#pragma once

#include "lib/fwall/log/daemon_msg.h"

#include <cstddef>
#include <cstdint>
#include <sys/un.h>

// What to do with a report: a sum of these, or 0.
enum log_mode : std::int32_t { LOG_MODE_STDLOG = 1, LOG_MODE_SYSLOG = 2 };

struct stdlog_conn {
    std::int32_t fd = -1; // -1 closed
    sockaddr_un address = {};
    bool connected = false; // `fd` leads to the daemon whatever becomes of the path
};

// Makes the socket, close-on-exec, and fills in the daemon's path. Does not look at what `conn`
// held. Returns 0, or the error number with `fd` -1, reported as
// "Failed to create stdlog socket errno=N WORDS".
int log_open(stdlog_conn *conn);

namespace flatlink
{

// Ties an open socket to the daemon that holds the path now: records then reach it also once this
// process has lost the right to the path, until that daemon ends. Returns 0, or the error number,
// which changes nothing.
int log_connect(stdlog_conn *conn);

} // namespace flatlink

// Closes the socket if it is open, and sets `fd` to -1.
void log_close(stdlog_conn *conn);

// Sends one datagram to the daemon that `conn` is tied to, or else to the path in it. A closed
// connection is opened; null stands for one that lasts for this call. Returns 0 if the socket can't
// be made, else 1, also when the sending failed: "!!! Error sending std log msg: errno=N WORDS".
int log_transmit(const void *record, std::size_t length, stdlog_conn *conn);

// log_transmit of a record, if `mode` has the bit of the log daemon; else 1 at once.
int log_daemonmsg(std::int32_t mode, const DaemonMsg *record, stdlog_conn *conn);

namespace flatlink
{

// For signal handlers: sends over an open connection without wait or report. False when it failed.
bool log_send_at_once(const void *record, std::size_t length, const stdlog_conn &conn);

} // namespace flatlink

// The connection with its mode. Opened from the start, whatever the mode.
class CStdLog
{
  public:
    explicit CStdLog(std::int32_t log_mode);
    CStdLog(const CStdLog &) = delete;
    CStdLog &operator=(const CStdLog &) = delete;
    virtual ~CStdLog();

    // As the call of that name. A record that can't be sent is counted, and the next one that gets
    // through is followed by one that says "log records lost: N" (event 13510, priority error).
    int log_daemonmsg(const DaemonMsg &record);

    std::int32_t mode;
    stdlog_conn stdlog;
};
