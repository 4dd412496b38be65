// The connection to the log daemon, and the sending of records over it. Faults are reported to the
// system log at priority error and never stop a proxy; a daemon that does not read delays a record
// no longer than lib/ulib/log_sender.h says.
#pragma once

#include "lib/fwall/log/daemon_msg.h"

#include <cstddef>
#include <cstdint>
#include <sys/un.h>

// Where reports go: a sum of these, or 0.
enum log_mode : std::int32_t { LOG_MODE_STDLOG = 1, LOG_MODE_SYSLOG = 2 };

struct stdlog_conn {
    std::int32_t fd = -1; // -1 closed
    sockaddr_un address = {};
    bool connected = false; // `fd` reaches the daemon even if the path changes
};

// Makes the socket, close-on-exec, and fills in the daemon's path. Ignores the old content of
// `conn`. Returns 0, or errno with `fd` -1, reported as
// "Failed to create stdlog socket errno=N WORDS".
int log_open(stdlog_conn *conn);

namespace flatlink
{

// Connects an open socket to the daemon that owns the path now: records then reach it until that
// daemon ends, even if this process loses access to the path. Returns 0, or errno and no change.
int log_connect(stdlog_conn *conn);

} // namespace flatlink

// Closes the socket if it is open, and sets `fd` to -1.
void log_close(stdlog_conn *conn);

// Sends one datagram to the daemon that `conn` is connected to, or else to its path. Opens a closed
// connection; null stands for one that lasts for this call. Returns 0 if the socket can't be made,
// else 1, even if sending failed: "!!! Error sending std log msg: errno=N WORDS".
int log_transmit(const void *record, std::size_t length, stdlog_conn *conn);

// Sends a record by log_transmit if `mode` has LOG_MODE_STDLOG; otherwise just returns 1.
int log_daemonmsg(std::int32_t mode, const DaemonMsg *record, stdlog_conn *conn);

namespace flatlink
{

// Async-signal-safe: sends over an open connection without waiting or reporting. False on failure.
bool log_send_at_once(const void *record, std::size_t length, const stdlog_conn &conn);

} // namespace flatlink

// A connection and its mode. The constructor opens the connection in every mode.
class CStdLog
{
  public:
    explicit CStdLog(std::int32_t log_mode);
    CStdLog(const CStdLog &) = delete;
    CStdLog &operator=(const CStdLog &) = delete;
    virtual ~CStdLog();

    // As the function of the same name. Records that can't be sent are counted; the next one that
    // gets through is followed by "log records lost: N" (event 13510, priority error).
    int log_daemonmsg(const DaemonMsg &record);

    std::int32_t mode;
    stdlog_conn stdlog;
};
