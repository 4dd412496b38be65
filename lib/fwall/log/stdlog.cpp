#include "lib/fwall/log/stdlog.h"

#include "lib/ulib/fixed_text.h"
#include "lib/ulib/log_sender.h"
#include "lib/ulib/report.h"
#include "lib/ulib/safe_text.h"
#include "lib/ulib/system_log.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace flatlink;

int log_open(stdlog_conn *conn)
{
    conn->connected = false;
    conn->address.sun_family = AF_UNIX;
    set_text(conn->address.sun_path, STDLOG_PATH);
    conn->fd = socket(AF_UNIX, SOCK_DGRAM, 0);
    if (conn->fd < 0) {
        const int error = errno;
        conn->fd = -1;
        system_log(REPORT_ERROR, "Failed to create stdlog socket errno=%d %s", error,
                   std::strerror(error));
        return error;
    }
    if (fcntl(conn->fd, F_SETFD, FD_CLOEXEC) < 0)
        system_log(REPORT_ERROR, "Failed to set close-on-exec flag errno=%d %s", errno,
                   std::strerror(errno));
    return 0;
}

static const sockaddr *daemon_address(const stdlog_conn &conn)
{
    return reinterpret_cast<const sockaddr *>(&conn.address);
}

int flatlink::log_connect(stdlog_conn *conn)
{
    if (connect(conn->fd, daemon_address(*conn), sizeof conn->address) != 0)
        return errno;
    conn->connected = true;
    return 0;
}

void log_close(stdlog_conn *conn)
{
    if (conn->fd >= 0)
        (void)close(conn->fd); // a datagram socket: nothing is pending
    conn->fd = -1;
    conn->connected = false;
}

using sender = ssize_t(int fd, const void *bytes, std::size_t length, const sockaddr *address,
                       socklen_t address_length);

static bool send_by(sender *send, const void *record, std::size_t length, const stdlog_conn &conn)
{
    return (conn.connected
                ? send(conn.fd, record, length, nullptr, 0)
                : send(conn.fd, record, length, daemon_address(conn), sizeof conn.address)) >= 0;
}

bool flatlink::log_send_at_once(const void *record, std::size_t length, const stdlog_conn &conn)
{
    return send_by(send_to_log_at_once, record, length, conn);
}

// Called when the connected daemon does not accept the record: tries the path, which a new daemon
// may own by now. False with errno.
static bool send_to_successor(const void *record, std::size_t length, stdlog_conn &conn)
{
    const int error = errno;
    if (log_connect(&conn) != 0)
        conn.connected = is_log_full(error); // the daemon is alive, only full
    if (log_send_at_once(record, length, conn))
        return true;
    errno = is_log_full(error) ? error : errno;
    return false;
}

enum class outcome { NOT_OPEN, FAILED, SENT };

static outcome transmit(const void *record, std::size_t length, stdlog_conn &conn)
{
    if (conn.fd < 0 && log_open(&conn) != 0)
        return outcome::NOT_OPEN;
    if (send_by(send_to_log, record, length, conn) ||
        (conn.connected && send_to_successor(record, length, conn)))
        return outcome::SENT;
    system_log(REPORT_ERROR, "!!! Error sending std log msg: errno=%d %s\n", errno,
               std::strerror(errno));
    return outcome::FAILED;
}

int log_transmit(const void *record, std::size_t length, stdlog_conn *conn)
{
    stdlog_conn temporary;
    const outcome result = transmit(record, length, conn == nullptr ? temporary : *conn);
    log_close(&temporary);
    return result == outcome::NOT_OPEN ? 0 : 1;
}

int log_daemonmsg(std::int32_t mode, const DaemonMsg *record, stdlog_conn *conn)
{
    return (mode & LOG_MODE_STDLOG) == 0 ? 1 : log_transmit(record, sizeof *record, conn);
}

CStdLog::CStdLog(std::int32_t log_mode) : mode(log_mode)
{
    (void)log_open(&stdlog); // on failure each send tries again
}

CStdLog::~CStdLog()
{
    log_close(&stdlog);
}

// The lost records may belong to other connections, so this one names only the process.
static DaemonMsg record_of_loss(const DaemonMsg &sent, std::uint32_t count)
{
    DaemonMsg record;
    record.event = EVENT_SYSTEM;
    record.priority = REPORT_ERROR;
    record.service = sent.service;
    record.protocol = sent.protocol;
    record.time = sent.time;
    record.pid = sent.pid;
    set_text(record.proxy_name, field_text(sent.proxy_name));
    safe_text<sizeof record.text> text;
    text << "log records lost: " << static_cast<int>(count);
    set_text(record.text, text.view());
    record.text_length = static_cast<std::int32_t>(text.view().size());
    return record;
}

// A function of its own: inside the caller, each report would need stack for a second record.
[[gnu::noinline]] static void tell_loss(const DaemonMsg &sent, const stdlog_conn &conn)
{
    const std::uint32_t count = take_lost(LOST_RECORDS);
    const DaemonMsg loss = record_of_loss(sent, count);
    if (count > 0 && !log_send_at_once(&loss, sizeof loss, conn))
        count_lost(LOST_RECORDS, count);
}

int CStdLog::log_daemonmsg(const DaemonMsg &record)
{
    if ((mode & LOG_MODE_STDLOG) == 0)
        return 1;
    const outcome result = transmit(&record, sizeof record, stdlog);
    if (result != outcome::SENT)
        count_lost(LOST_RECORDS);
    else if (has_lost(LOST_RECORDS))
        tell_loss(record, stdlog);
    return result == outcome::NOT_OPEN ? 0 : 1;
}
